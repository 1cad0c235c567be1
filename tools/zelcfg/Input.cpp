// Which reading FILE gets: the one an option forces, the library's for a
// name the library reads, else the one the file's first byte suggests.
#include <cerrno>
#include <fcntl.h>
#include <iostream>
#include <string_view>
#include <unistd.h>
#include <vector>

#include "Input.h"
#include "Zelcfg.h"

namespace zelcfg {

using zelconfig::Backend;

namespace {

const char kUnknownName[] = "the name contains none of .cfg, .inf, .cksum, .xml";

// What the start of a file says of its format.
enum class Start
{
    kAngle,      // its first non-blank byte is '<'
    kOther,      // it is another byte
    kBlank,      // the file holds nothing but blanks
    kMissing,    // there is no such file
    kUnreadable, // it is no regular file, or cannot be opened or read
};

// The start of the file at `path`, read a block at a time only as far as its
// first non-blank byte, so that a large file is not read twice. It is opened
// as the documents open files: nothing created or locked, no wait on a FIFO.
// `mark` tells a UTF-8 byte order mark before it, which the INI dialect
// skips; blanks are XML's white space, which may stand before its first '<'.
Start ReadStart(const std::string& path, bool& mark)
{
    mark = false;
    int fd = -1;
    if (const int opened = zelconfig::OpenRegular(path, O_RDONLY | O_NOCTTY, fd)) {
        return opened == ENOENT ? Start::kMissing : Start::kUnreadable;
    }
    char bytes[512];
    Start start = Start::kBlank;
    for (bool first = true;; first = false) {
        const ssize_t got = ::read(fd, bytes, sizeof bytes);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            start = got == 0 ? Start::kBlank : Start::kUnreadable;
            break;
        }
        std::string_view text(bytes, static_cast<size_t>(got));
        if (first && text.substr(0, 3) == zelconfig::kCFGByteOrderMark) {
            mark = true;
            text.remove_prefix(3);
        }
        const size_t at = text.find_first_not_of(" \t\r\n");
        if (at != std::string_view::npos) {
            start = text[at] == '<' ? Start::kAngle : Start::kOther;
            break;
        }
    }
    ::close(fd);
    return start;
}

// Why the start of a file chose its reading, for -v.
std::string StartReason(Start start, bool mark)
{
    const std::string byte = mark ? "its first non-blank byte after the byte order mark" : "its first non-blank byte";
    switch (start) {
    case Start::kAngle:
        return byte + " is '<'";
    case Start::kOther:
        return byte + " is not '<'";
    case Start::kBlank:
        return mark ? "it holds nothing but a byte order mark and blanks" : "it holds nothing but blanks";
    case Start::kMissing:
        return "it does not exist";
    case Start::kUnreadable:
        break;
    }
    return "it cannot be read";
}

// A reading, by the option that forces it and as notes name it.
struct Reading
{
    const char* option;
    const char* name;
};

Reading ReadingOf(const Input& input)
{
    if (input.ini) {
        return {"--ini", "in the INI dialect"};
    }
    switch (input.backend) {
    case Backend::kXml:
        return {"--xml", "as XML"};
    case Backend::kCfgAnonymous:
        return {"--anonymous", "in anonymous mode"};
    default:
        return {"--block", "in block mode"};
    }
}

// The options that force the other readings: "--block, --anonymous or --xml".
std::string OtherOptions(const Input& input)
{
    const std::string chosen = ReadingOf(input).option;
    std::vector<std::string> others;
    for (const ModeChoice mode : {ModeChoice::kBlock, ModeChoice::kAnonymous, ModeChoice::kXml, ModeChoice::kIni}) {
        const std::string option = OptionName(mode);
        if (option != chosen) {
            others.emplace_back(option);
        }
    }
    return others[0] + ", " + others[1] + " or " + others[2];
}

// What the library's chooser read in the name, by the back end it chose.
const char* NameReason(Backend backend)
{
    return backend == Backend::kCfgBlock ? ".cfg" : backend == Backend::kCfgAnonymous ? ".inf or .cksum" : ".xml";
}

} // namespace

std::string ReadingName(const Input& input)
{
    return ReadingOf(input).name;
}

bool ChooseInput(const Invocation& invocation, Input& input, int& status)
{
    return ChooseInput(invocation, invocation.operands.front(), input, status);
}

bool ChooseInput(const Invocation& invocation, const std::string& path, Input& input, int& status)
{
    input.path = path;
    input.backend = Backend::kCfgBlock;
    switch (invocation.mode) {
    case ModeChoice::kBlock:
        break;
    case ModeChoice::kAnonymous:
        input.backend = Backend::kCfgAnonymous;
        break;
    case ModeChoice::kXml:
        input.backend = Backend::kXml;
        break;
    case ModeChoice::kIni:
        input.ini = true;
        break;
    case ModeChoice::kByPath:
        break;
    }
    std::string why;
    if (invocation.mode != ModeChoice::kByPath) {
        why = std::string(", as ") + ReadingOf(input).option + " says";
    } else if (input.Stdin()) {
        why = ": it is standard input";
    } else if ((input.backend = zelconfig::ChooseBackend(input.path.c_str(), zelconfig::BackendUse::kRead))
               != Backend::kNone) {
        why = std::string(", as the library reads a name containing ") + NameReason(input.backend);
    } else if (invocation.strictName) {
        status = Fail(kExitFailure, input.path,
                      std::string(kUnknownName) + "; say --block, --anonymous, --xml or --ini");
        return false;
    } else {
        bool mark = false;
        const Start start = ReadStart(input.path, mark);
        input.backend = start == Start::kAngle ? Backend::kXml : Backend::kCfgBlock;
        input.ini = start != Start::kAngle;
        why = std::string(": ") + kUnknownName + " and " + StartReason(start, mark);
    }
    // Scripts editing /etc/foo.conf would get it on every call: -v asks for it.
    if (invocation.verbosity > 0) {
        std::cerr << "zelcfg: " << input.path << ": note: reading it " << ReadingOf(input).name << why;
        if (invocation.mode == ModeChoice::kByPath) {
            std::cerr << " (" << OtherOptions(input) << " says otherwise)";
        }
        std::cerr << '\n';
    }
    return true;
}

} // namespace zelcfg
