// No view, no search function of the library under test or of the standard one: where they are
// wrong, or used wrongly, this has to differ.

#include "tests/support/plain_rules.hpp"

#include "platform/runtime/error.hpp"

#include "net/http/http.hpp"

namespace plain_rules {
namespace {

using Libraries::Networks::HTTP::Client::ErrInvalidArgument;
using Libraries::Networks::HTTP::Client::Request;

constexpr std::size_t None = static_cast<std::size_t>(-1);

/// Answers where a mark first stands at or behind an index.
std::size_t first(const std::string& text, const std::string& mark, std::size_t from) {
    for (std::size_t i = from; i + mark.size() <= text.size(); ++i) {
        bool same = true;
        for (std::size_t k = 0; k < mark.size(); ++k) {
            same = same && text[i + k] == mark[k];
        }
        if (same) {
            return i;
        }
    }
    return None;
}

std::size_t last(const std::string& text, char mark) {
    std::size_t found = None;
    for (std::size_t i = 0; i < text.size(); ++i) {
        found = text[i] == mark ? i : found;
    }
    return found;
}

/// Answers the characters from one index up to another.
std::string part(const std::string& text, std::size_t from, std::size_t to) {
    std::string result;
    for (std::size_t i = from; i < to && i < text.size(); ++i) {
        result += text[i];
    }
    return result;
}

/// Answers the number of a port text, or one beyond all ports.
std::uint32_t readPort(const std::string& digits) {
    constexpr std::uint32_t beyond = 65536;
    std::uint32_t port = digits.empty() ? beyond : 0;
    for (const char digit : digits) {
        const bool sound = digit >= '0' && digit <= '9' && port < beyond;
        port = sound ? port * 10 + static_cast<std::uint32_t>(digit - '0') : beyond;
    }
    return port < beyond ? port : beyond;
}

std::vector<std::string> segmentsOf(const std::string& text) {
    std::vector<std::string> segments(1);
    for (const char character : text) {
        if (character == '/') {
            segments.emplace_back();
        } else {
            segments.back() += character;
        }
    }
    return segments;
}

/// Answers where the query or the fragment begins, or the end of the text.
std::size_t tailOf(const std::string& text) {
    std::size_t index = 0;
    while (index < text.size() && text[index] != '?' && text[index] != '#') {
        ++index;
    }
    return index;
}

std::string resolveDots(const std::string& location, const std::string& base) {
    std::string origin = base;
    std::vector<std::string> directories;
    const std::size_t mark = first(base, "://", 0);
    const std::size_t authorityEnd = mark != None ? first(base, "/", mark + 3) : None;
    if (authorityEnd != None) {
        origin = part(base, 0, authorityEnd);
        const std::string path = part(base, authorityEnd + 1, base.size());
        directories = segmentsOf(part(path, 0, tailOf(path)));
    }
    for (const std::string& segment : segmentsOf(part(location, 0, tailOf(location)))) {
        if (segment == "..") {
            if (!directories.empty()) {
                directories.pop_back();
            }
        } else if (segment != ".") {
            directories.push_back(segment);
        }
    }
    std::string url = origin + "/";
    for (std::size_t i = 0; i < directories.size(); ++i) {
        url += (i > 0 ? "/" : "") + directories[i];
    }
    return url + part(location, tailOf(location), location.size());
}

int valueOf(char32_t digit) {
    const std::u32string digits = U"0123456789abcdef0123456789ABCDEF";
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (digits[i] == digit) {
            return static_cast<int>(i % 16);
        }
    }
    return -1;
}

/// How UTF-8 writes the values from one on: by so many octets, the first of which begins here.
struct Form {
    std::size_t octets;
    unsigned lead;
    std::uint64_t least;
};
constexpr Form Forms[] = {{7, 0xFE, 0x80000000}, {6, 0xFC, 0x4000000}, {5, 0xF8, 0x200000},
                          {4, 0xF0, 0x10000},    {3, 0xE0, 0x800},     {2, 0xC0, 0x80}};

unsigned octetAt(const std::string& text, std::size_t index) {
    return static_cast<unsigned char>(text[index]);
}

/// Answers what octets say, of which all but the first go on.
std::uint64_t valueOfSequence(const std::string& text, std::size_t at, std::size_t octets) {
    std::uint64_t value = octetAt(text, at);
    for (const Form& form : Forms) {
        value -= form.octets == octets ? form.lead : 0;
    }
    for (std::size_t i = 1; i < octets; ++i) {
        value = value * 64 + octetAt(text, at + i) - 0x80;
    }
    return value;
}

/// Answers how many octets the sequence at an index has, 0 if there is none.
std::size_t sequenceAt(const std::string& text, std::size_t at) {
    if (octetAt(text, at) < 0x80) {
        return 1;
    }
    for (const Form& form : Forms) {
        if (octetAt(text, at) < form.lead || octetAt(text, at) == 0xFF) {
            continue;
        }
        bool sound = at + form.octets <= text.size();
        for (std::size_t i = at + 1; sound && i < at + form.octets; ++i) {
            sound = octetAt(text, i) >= 0x80 && octetAt(text, i) <= 0xBF;
        }
        const std::uint64_t value = sound ? valueOfSequence(text, at, form.octets) : 0;
        return value >= form.least && value <= 0xFFFFFFFF ? form.octets : 0;
    }
    return 0;
}

/// The bytes of escapes that follow each other.
using Bytes = std::vector<unsigned>;

/// Answers how many bytes a character has that begins with this one, 0 if none does.
std::size_t lengthOf(unsigned lead) {
    if (lead < 0x80) {
        return 1;
    }
    if (lead <= 0xDF) {
        return 2;
    }
    if (lead <= 0xEF) {
        return 3;
    }
    return lead <= 0xF4 ? 4 : 0;
}

bool canGoOn(const Bytes& bytes) {
    bool sound = lengthOf(bytes[0]) != 0;
    for (std::size_t i = 1; i < bytes.size(); ++i) {
        sound = sound && bytes[i] >= 0x80 && bytes[i] <= 0xBF;
    }
    return sound;
}

char32_t characterOf(const Bytes& bytes) {
    if (bytes[0] >= 0x80 && bytes[0] <= 0xBF) {
        return U'?';
    }
    constexpr unsigned firstOfLength[] = {0, 0, 0xC0, 0xE0, 0xF0};
    char32_t character = bytes[0] - firstOfLength[bytes.size()];
    for (std::size_t i = 1; i < bytes.size(); ++i) {
        character = character * 64 + (bytes[i] - 0x80);
    }
    return character;
}

/// Answers how many characters belong together: up to that which ends an escape, or breaks it.
std::size_t lengthOfEscape(const std::u32string& text, std::size_t at) {
    if (text[at] != U'%') {
        return 1;
    }
    return at + 1 < text.size() && valueOf(text[at + 1]) >= 0 ? 3 : 2;
}

/// The characters that come out, and the escapes that wait for more bytes.
class Unescaped {
public:
    [[nodiscard]] bool waits() const { return !bytes_.empty(); }
    void add(const std::u32string& characters) { out_ += characters; }
    /// Takes an escape as it stands, and its byte.
    void add(const std::u32string& escape, unsigned byte) {
        waiting_ += escape;
        bytes_.push_back(byte);
        if (canGoOn(bytes_) && bytes_.size() < lengthOf(bytes_[0])) {
            return;
        }
        if (canGoOn(bytes_)) {
            out_ += characterOf(bytes_);
        } else {
            const std::u32string digits = U"0123456789abcdef";
            for (const unsigned broken : bytes_) {
                out_ += {U'%', digits[broken / 16], digits[broken % 16]};
            }
        }
        bytes_.clear();
        waiting_.clear();
    }
    [[nodiscard]] std::u32string end() const { return out_ + waiting_; }

private:
    std::u32string out_;
    std::u32string waiting_;
    Bytes bytes_;
};

std::optional<std::string> copyOf(const Ref<String>& text) {
    return text ? std::optional(std::string(text->view())) : std::nullopt;
}

}  // namespace

SplitResult split(const std::string& url, bool keepPort, bool keepPath) {
    SplitResult result;
    const std::size_t mark = first(url, "://", 0);
    if (mark == None) {
        result.error = ErrInvalidArgument;
        return result;
    }
    result.protocol = "";
    for (const char character : part(url, 0, mark)) {
        const bool upper = character >= 'A' && character <= 'Z';
        *result.protocol += upper ? static_cast<char>(character - 'A' + 'a') : character;
    }
    const std::size_t slash = first(url, "/", mark + 3);
    const std::size_t authorityEnd = slash != None ? slash : url.size();
    const std::string authority = part(url, mark + 3, authorityEnd);
    result.path = slash != None ? part(url, slash, url.size()) : "/";
    result.host = authority;
    const std::size_t colon = last(authority, ':');
    if (!keepPort && colon != None) {
        result.host = part(authority, 0, colon);
        const std::uint32_t port = readPort(part(authority, colon + 1, authority.size()));
        if (port > 65535) {
            result.error = ErrInvalidArgument;
            return result;
        }
        result.port = port;
    }
    if (keepPath) {
        result.host = *result.host + (slash != None ? *result.path : "");
        result.path.reset();
    }
    return result;
}

SplitResult splitByLibrary(const std::string& url, bool keepPort, bool keepPath) {
    using Flags = Definitions::Set<Request::SplitFlag, unsigned int,
                                   Definitions::EnumSeqConvert<Request::SplitFlag, unsigned int>>;
    Flags flags;
    if (keepPort) {
        flags.add(Request::SplitFlag::KeepPortInHost);
    }
    if (keepPath) {
        flags.add(Request::SplitFlag::KeepPathInHost);
    }
    Ref<String> protocol = "old";
    Ref<String> host = "old";
    Ref<String> path = "old";
    std::uint16_t port = 1234;
    Error::set(0);
    const bool good = Request::splitUrl(url, protocol, host, port, path, flags);
    const std::uint32_t code = Error::get();
    // A success leaves the thread's code, a failure sets one.
    return {good == (code == 0) ? code : ~std::uint32_t{0}, copyOf(protocol), copyOf(host), port,
            copyOf(path)};
}

std::string redirectTarget(const std::string& location, const std::string& current,
                           const Hop& hop) {
    if (part(location, 0, 1) == "/") {
        return hop.protocol + "://" + hop.host + ":" + std::to_string(hop.port) + location;
    }
    const std::size_t mark = first(location, "://", 0);
    if (mark != None && first(location, "/", 0) == mark + 1) {
        return location;
    }
    const std::size_t slash = last(current, '/');
    if (part(location, 0, 1) != ".") {
        return (slash != None ? part(current, 0, slash + 1) : "") + location;
    }
    return resolveDots(location, slash != None ? part(current, 0, slash) : "");
}

Chain::Step Chain::take(const std::string& location, const Hop& hop) {
    if (location.empty()) {
        current_.reset();
        return Step::NoLocation;
    }
    visited_.insert(*current_);
    current_ = redirectTarget(location, *current_, hop);
    return visited_.count(*current_) != 0 ? Step::Cycle : Step::Moved;
}

std::optional<std::u32string> decode(const std::u32string& text) {
    Unescaped unescaped;
    bool started = false;  // only then a "+" is a blank
    for (std::size_t i = 0; i < text.size();) {
        started = started || text[i] == U'%';
        const std::size_t taken = lengthOfEscape(text, i);
        const std::u32string piece = text.substr(i, taken);
        if (i + taken > text.size()) {
            return unescaped.end() + piece;
        }
        if (taken == 3 && valueOf(piece[2]) >= 0) {
            unescaped.add(piece, static_cast<unsigned>(valueOf(piece[1]) * 16 + valueOf(piece[2])));
        } else if (unescaped.waits()) {
            return std::nullopt;
        } else {
            unescaped.add(piece == U"+" && started ? U" " : piece);
        }
        i += taken;
    }
    return unescaped.end();
}

std::u32string decodeByLibrary(const std::string& text) {
    return charactersOf(std::string(Request::httpDecode(text)->view()));
}

std::u32string charactersOf(const std::string& text) {
    std::u32string characters;
    for (std::size_t i = 0; i < text.size();) {
        std::size_t taken = sequenceAt(text, i);
        if (taken == 0) {  // which stands for itself
            taken = 1;
        }
        characters += static_cast<char32_t>(valueOfSequence(text, i, taken));
        i += taken;
    }
    return characters;
}

std::string Texts::next(std::size_t most) {
    std::string text;
    for (std::uint32_t count = below(static_cast<std::uint32_t>(most) + 1); count > 0; --count) {
        text += pieces_[below(static_cast<std::uint32_t>(pieces_.size()))];
    }
    return text;
}

std::uint32_t Texts::below(std::uint32_t limit) {
    return static_cast<std::uint32_t>(generator_() / 8) % limit;
}

}  // namespace plain_rules
