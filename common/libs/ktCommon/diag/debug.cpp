#include "diag/debug.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>

#include "config_data.h"
#include "frame/process.h"
#include "internal/descriptor.h"
#include "internal/errno_guard.h"
#include "internal/heap_text.h"
#include "internal/stdout_lock.h"
#include "internal/thread_id.h"
#include "logging.h"
#include "text/append_buffer.h"
#include "text/bounded.h"
#include "text/growable.h"
#include "time/timestamp.h"

unsigned gDebugMode;
char* gDebugFileName;  // guarded by kt::StdoutLock

namespace {

constexpr size_t kProcessNameSize = 80;
constexpr char kNoFileNotice[] = "\n***\n*** Must call _debugSetFileName() to set a filename\n***\n";

bool isOn(unsigned bit) {
    return (__atomic_load_n(&gDebugMode, __ATOMIC_RELAXED) & bit) != 0;
}

void switchOn(unsigned bit) {
    __atomic_or_fetch(&gDebugMode, bit, __ATOMIC_RELAXED);
}

char* putNumber(char* out, int value, int width, char pad) {
    char digits[12];
    const auto length = static_cast<int>(std::to_chars(digits, digits + sizeof digits, value).ptr - digits);
    const auto padding = static_cast<size_t>(std::max(width - length, 0));
    memset(out, pad, padding);
    return static_cast<char*>(mempcpy(out + padding, digits, static_cast<size_t>(length)));
}

// One debug line while it is built: on the stack as long as it is short, so that it needs no memory. The text comes
// first and the head is put before it, because the text's arguments may stand in the timestamp's buffer.
class DebugLine {
  public:
    void setText(const char* text) {
        const size_t length = strlen(text);
        makeRoom(length);
        textLength_ = std::min(length, room_);
        memcpy(buffer_ + kHeadRoom, text, textLength_);
    }

    void formatText(const char* fmt, va_list ap) {
        va_list again;
        va_copy(again, ap);
        int length = vsnprintf(buffer_ + kHeadRoom, room_ + 1, fmt, ap);
        if (length > 0 && static_cast<size_t>(length) > room_) {
            makeRoom(static_cast<size_t>(length));
            length = vsnprintf(buffer_ + kHeadRoom, room_ + 1, fmt, again);
        }
        va_end(again);
        textLength_ = length < 0 ? 0 : std::min(static_cast<size_t>(length), room_);
    }

    void putHead(int line) {
        const kt::ThreadId id = kt::currentThreadId();
        char head[kHeadRoom];
        char* end = stpcpy(head, getLogTimestamp(nullptr));
        *end++ = ' ';
        end = putNumber(end, id.process, 5, '0');
        *end++ = '\\';
        end = putNumber(end, id.thread, 5, '0');
        end = putNumber(stpcpy(end, " ("), line, 4, ' ');
        end = stpcpy(end, "): ");
        headLength_ = static_cast<size_t>(end - head);
        memcpy(buffer_ + kHeadRoom - headLength_, head, headLength_);
    }

    const char* begin() const { return buffer_ + kHeadRoom - headLength_; }
    size_t length() const { return headLength_ + textLength_; }

  private:
    // A timestamp (39 at most), three numbers (11 each) and 7 between them.
    static constexpr size_t kHeadRoom = 96;

    // Without memory the room stays as it is, and the text is cut.
    void makeRoom(size_t length) {
        char* grown = length <= room_ ? nullptr : static_cast<char*>(malloc(kHeadRoom + length + 1));
        if (grown != nullptr) {
            heap_.reset(grown);
            buffer_ = grown;
            room_ = length;
        }
    }

    char inline_[kHeadRoom + 512];
    kt::HeapText heap_;
    char* buffer_ = inline_;
    size_t room_ = sizeof inline_ - kHeadRoom - 1;  // for the text, without its terminator
    size_t textLength_ = 0;
    size_t headLength_ = 0;
};

// Past stdout's buffer, which would split a text longer than itself; a stream without a descriptor has only
// the buffer.
void printAtOnce(const char* text, size_t length) {
    fflush_unlocked(stdout);
    const int fd = fileno_unlocked(stdout);
    if (fd >= 0) {
        kt::writeAll(fd, text, length);
    } else {
        fwrite_unlocked(text, 1, length, stdout);
        fflush_unlocked(stdout);
    }
}

void appendToDebugFile(const char* text, size_t length) {
    const kt::Descriptor file(open(gDebugFileName, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666));
    if (file) {
        kt::writeAll(file.get(), text, length);
    }
}

void writeLine(DebugLine& debugLine, int line) {
    debugLine.putHead(line);
    const kt::StdoutLock lock;
    printAtOnce(debugLine.begin(), debugLine.length());
    if (!isOn(DEBUG_FILE)) {
        return;
    }
    if (gDebugFileName != nullptr) {
        appendToDebugFile(debugLine.begin(), debugLine.length());
    } else {
        printAtOnce(kNoFileNotice, sizeof kNoFileNotice - 1);
    }
}

struct Category {
    char letter;
    unsigned bit;
    const char* label;
};

constexpr Category kCategories[] = {
    {'f', DEBUG_FILE, ", File"}, {'n', DEBUG_NETWORK, ", Network"}, {'p', DEBUG_PROTOCOL, ", Protocol"},
    {'q', DEBUG_SQL, ", SQL"},   {'s', DEBUG_SOCKETS, ", Sockets"}, {'t', DEBUG_TAGS, ", Tags"},
    {'x', DEBUG_XML, ", XML"},
};

constexpr char kHelp[] =
    "\nDebug options\n"
    "  f - echo debug output to /var/lognv/kt/_debug_%s.log\n"
    "  n - enable Network debugging\n"
    "  p - enable Protocol debugging\n"
    "  q - enable SQL debugging\n"
    "      T - add SQL trace\n"
    "  r - Set RESTORE TEST flag\n"
    "  s - enable general Sockets debugging\n"
    "      S - add Send hexdump\n"
    "      R - add Receive hexdump\n"
    "  t - enable Tags debugging\n"
    "  x - enable XML debugging\n"
    "  z - enable debug messages\n"
    "  ! - disable debug\n"
    "\n"
    "  Example\n"
    "    {appname} -zfsRt\n"
    "      enable Debug, echo to File, enable Sockets and set hexdump for Sockets Receive, enable Tags "
    "debugging\n";

// Walks an option string, sets the bits and collects what is to be printed, so that it comes out in one
// piece.
class OptionParser {
  public:
    explicit OptionParser(const char* processName) : processName_(processName) {
        InitAppendBufControl(&printed_, 1024, 128);
    }
    ~OptionParser() { free(printed_.buffer); }
    OptionParser(const OptionParser&) = delete;
    OptionParser& operator=(const OptionParser&) = delete;

    void parse(const char* options) {
        switchOn(DEBUG_GENERAL);
        print("Debug mode on: General");
        for (const char* next = options; *next != '\0';) {
            next = parseLetter(next);
        }
        print("\n");
    }

    const char* printed() const { return printed_.buffer == nullptr ? "" : printed_.buffer; }

  private:
    void print(const char* text) { AppendBuf(&printed_, "%s", text); }

    // Returns where the walk goes on.
    const char* parseLetter(const char* letter) {
        if (*letter == '?') {
            AppendBuf(&printed_, kHelp, processName_);
            return letter + 1;
        }
        const Category* category =
            std::find_if(std::begin(kCategories), std::end(kCategories),
                         [letter](const Category& candidate) { return candidate.letter == *letter; });
        if (category == std::end(kCategories)) {
            return letter + 1;
        }
        print(category->label);
        if (category->bit == DEBUG_FILE) {
            _debugSetFileName(processName_);
        }
        switchOn(category->bit);
        const bool refined = category->bit == DEBUG_SQL || category->bit == DEBUG_SOCKETS;
        return refined ? refine(category->bit, letter + 1) : letter + 1;
    }

    // Consumes all upper-case letters that follow, also those without a meaning for this category.
    const char* refine(unsigned bit, const char* next) {
        for (; *next >= 'A' && *next <= 'Z'; ++next) {
            if (bit == DEBUG_SQL && *next == 'T') {
                print("(trace)");
                sqlSetOption(SQL_OPTION_TRACE, 1);
            } else if (bit == DEBUG_SOCKETS && *next == 'R') {
                print("(recv)");
                switchOn(DEBUG_SOCKETS_RECV);
            } else if (bit == DEBUG_SOCKETS && *next == 'S') {
                print("(send)");
                switchOn(DEBUG_SOCKETS_SEND);
            }
        }
        return next;
    }

    const char* processName_;
    AppendBufControl printed_;
};

void printLocked(const char* text) {
    const kt::StdoutLock lock;
    printAtOnce(text, strlen(text));
}

}  // namespace

unsigned _debugSetOptions(const char* options, const char* processName) {
    if (options == nullptr) {
        return _debugGetMode();
    }
    if (*options == '!') {
        __atomic_store_n(&gDebugMode, 0U, __ATOMIC_RELAXED);
        printLocked("Debug mode OFF\n");
        return 0;
    }
    char ownName[kProcessNameSize] = "";
    // Only these two letters use the name, and asking for it runs a shell.
    if (processName == nullptr && strpbrk(options, "f?") != nullptr) {
        getProcessName(getpid(), ownName, sizeof ownName);
    }
    OptionParser parser(processName == nullptr ? ownName : processName);
    parser.parse(options);
    printLocked(parser.printed());
    return _debugGetMode();
}

unsigned _debugGetMode(void) {
    return __atomic_load_n(&gDebugMode, __ATOMIC_RELAXED);
}

int _debugSetFileName(const char* processName) {
    kt::HeapText path = kt::formatted("%s/_debug_%s.log", LOG_PATH, processName);
    const kt::StdoutLock lock;
    free(std::exchange(gDebugFileName, path.release()));
    return 0;
}

int __debugCoreMsg(int line, const char* text) {
    const kt::ErrnoGuard errnoGuard;
    DebugLine debugLine;
    debugLine.setText(text);
    writeLine(debugLine, line);
    return 0;
}

int __debugCore(int line, const char* fmt, va_list ap) {
    const kt::ErrnoGuard errnoGuard;
    DebugLine debugLine;
    debugLine.formatText(fmt, ap);
    writeLine(debugLine, line);
    return 0;
}

// __debug and its six categories are in debug_gate_*: a compiler saves the variable arguments before a
// function's first statement, which costs more than the test that is to keep a call cheap while its bit is
// clear. They lead here.
extern "C" __attribute__((visibility("hidden"), format(printf, 2, 3))) int ktDebugWrite(int line,
                                                                                        const char* fmt, ...);

int ktDebugWrite(int line, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    __debugCore(line, fmt, ap);
    va_end(ap);
    return 0;
}

int __debugFunc(const char* name, int line, const char* fmt, ...) {
    if (!isOn(DEBUG_GENERAL)) {
        return 0;
    }
    const kt::ErrnoGuard errnoGuard;
    va_list ap;
    va_start(ap, fmt);
    const kt::HeapText message(formatVAString(fmt, ap));
    va_end(ap);
    strstrip(message.get(), "\n");
    const kt::HeapText text = kt::formatted("%s<%d> \"%s\"\n", name, line, kt::textOf(message));
    return text == nullptr ? 0 : __debugCoreMsg(line, text.get());
}

int __breakpoint(const char* file, int line, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    const kt::HeapText message(formatVAString(fmt, ap));
    va_end(ap);
    const char* slash = strrchr(file, '/');
    const kt::HeapText text = kt::formatted("\n>>> BP (%s:%d) %s\n", slash == nullptr ? file : slash + 1,
                                            line, kt::textOf(message));
    printLocked(kt::textOf(text));
    return getchar();
}
