# Turns the plain comments of a public header into Doxygen's. The header's folder is its group, the header a section
# there with the text at its top. A block before declarations that follow each other directly is that of each. Indented
# lines (tables of results) stay as they are laid out.

function escaped(text) {
    gsub(/[\\@<>#%&$"]/, "\\\\&", text)
    return text
}

function laidOut(i) {
    return i <= count && text[i] ~ /^ /
}

# The lines text[1] to text[count] as documentation.
function tell(    i, opens, inTable) {
    for (i = 1; i <= count; ++i) {
        opens = text[i] ~ /^(Returns?( |$)|[a-z][A-Za-z0-9]*: )/
        if (!inTable && (laidOut(i) || opens && laidOut(i + 1))) {
            inTable = 1
            print "/// <pre>"
        } else if (!inTable && opens) print "///"
        print "/// " escaped(text[i])
        if (inTable && !laidOut(i + 1)) {
            inTable = 0
            print "/// </pre>"
        }
    }
}

FNR == 1 {
    parts = split(FILENAME, path, "/")
    print "/// \\addtogroup " path[parts - 1] "\n/// \\{\n"
}

/^\/\// {
    if (!inBlock) count = 0
    inBlock = 1
    text[++count] = substr($0, 4)
    next
}

inBlock {
    inBlock = 0
    if (!hasModule) {
        hasModule = 1
        print "/// \\name " path[parts - 1] "/" path[parts]
        tell()
        print "/// \\{\n"
        count = 0
    }
}

/^ *$/ && !depth { count = 0 }

# The outermost braces are those of extern "C".
{
    code = comment = $0
    sub(/ *\/\/.*/, "", code)
    begins = code ~ /^[A-Za-z]/ || code ~ /^#define / && code !~ /_H$/
    if (begins && !depth && !continues && count) tell()
    if (sub(/.*\/\/ /, "", comment)) comment = "  ///< " escaped(comment)
    else comment = depth && code ~ /;$/ ? "  ///< &nbsp;" : ""  # a field that its record tells of
    print code comment
    if (code ~ /extern "C"|^}$/) next
    depth += gsub(/{/, "{", code) - gsub(/}/, "}", code)
    continues = (begins || continues) && code !~ /;$|^#/
}

END { print "/// \\}\n\n/// \\}" }
