# Turns the plain comments of a public header into Doxygen's. The header's folder is its group, the header a section
# there with the text at its top. A block before declarations that follow each other directly is that of each; one that
# stands alone opens the text of the next. Indented lines (tables of results) stay as they are laid out.
function escaped(text) {
    gsub(/[\\@<>#%&$"]/, "\\\\&", text)
    return text
}

# The lines text[1] to text[count] as documentation.
function tell(    i, opens, goesOn, inItem, begun, inTable) {
    untold = 0
    for (i = 1; i <= count; ++i) {
        opens = text[i] ~ /^(Returns?( |$)|[a-z][A-Za-z0-9]*: )/
        goesOn = i < count && text[i + 1] ~ /^ /
        inItem = text[i] ~ /^- / || inItem && text[i] ~ /^ /
        begun = !inTable && !inItem && (text[i] ~ /^ / || opens && goesOn)
        inTable = inTable || begun
        if (begun) print "/// <pre>"
        else if (opens && !inTable) print "///"
        print "/// " escaped(text[i]) (inTable && !goesOn ? "\n/// </pre>" : "")
        inTable = inTable && goesOn
    }
}

FNR == 1 {
    parts = split(FILENAME, path, "/")
    print "/// \\addtogroup " path[parts - 1] "\n/// \\{\n\n/// \\name " path[parts - 1] "/" path[parts]
}

/^\/\// {
    if (!inBlock && untold) text[++count] = ""
    else if (!inBlock) count = 0
    inBlock = attached = untold = 1
    text[++count] = substr($0, 4)
    next
}

inBlock && !hasModule++ {
    tell()
    print "/// \\{\n"
    attached = 0
}

{
    inBlock = 0
    if (/^ *$/ && !depth) attached = 0
    code = comment = $0
    sub(/ *\/\/.*/, "", code)
    begins = code ~ /^[A-Za-z]/ || code ~ /^#define / && code !~ /_H$/
    if (begins && !depth && !continues && attached) tell()
    if (begins && !depth) bare = code ~ /^enum/ && !attached  # Doxygen does not miss the text of an unnamed one
    if (sub(/.*\/\/ /, "", comment)) comment = "  ///< " escaped(comment)
    else comment = depth && code ~ /;$/ ? "  ///< &nbsp;" : ""  # a field that its record tells of
    if (bare && !comment && code ~ /[=,]/) print "/// \\undocumented"  # no command: makes Doxygen warn
    print code comment
    if (code !~ /extern "C"|^[}]$/) depth += gsub(/[{]/, "{", code) - gsub(/[}]/, "}", code)  # not of extern "C"
    continues = (begins || continues) && code !~ /[;{]$|^#/
}
END { print "/// \\}\n\n/// \\}" }
