// As tests/support/plain_rules.cpp: no search, no view, nothing of the library but its numbers.

#include "fuzz/plain_exchange.hpp"

#include <algorithm>
#include <optional>

#include "net/http/http.hpp"
#include "tests/support/plain_rules.hpp"

namespace plain_exchange {
namespace {

using Libraries::Networks::HTTP::Client::ErrInvalidArgument;
using Libraries::Networks::HTTP::Client::ErrTransfer;
using plain_rules::Chain;

constexpr std::size_t LongestLine = 0x100000;

std::optional<std::uint64_t> numberOf(const std::string& text) {
    std::uint64_t number = 0;
    for (const char digit : text) {
        const auto value = static_cast<std::uint64_t>(digit - '0');
        if (digit < '0' || digit > '9' || number > (UINT64_MAX - value) / 10) {
            return std::nullopt;
        }
        number = number * 10 + value;
    }
    return text.empty() ? std::nullopt : std::optional(number);
}

std::string trimmed(std::string text) {
    const std::string blanks = " \t\r\n\v\f";
    const auto isBlank = [&blanks](char c) { return blanks.find(c) != std::string::npos; };
    while (!text.empty() && isBlank(text.back())) {
        text.pop_back();
    }
    while (!text.empty() && isBlank(text.front())) {
        text.erase(0, 1);
    }
    return text;
}

std::string lowered(std::string text) {
    for (char& c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return text;
}

/// Takes a line and its end off the text, or nothing when no end comes in time.
std::optional<std::string> takeLine(const std::string& text, std::size_t& at) {
    std::string line;
    for (std::size_t i = at; i < text.size() && line.size() < LongestLine; ++i) {
        if (text[i] == '\r' || text[i] == '\n') {
            at = i + (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n' ? 2 : 1);
            return line;
        }
        line += text[i];
    }
    return std::nullopt;
}

/// The head of one answer.
struct Head {
    enum class State { Whole, Partial, Failed };

    State read(const std::string& text, std::size_t& at);
    bool readStatus(const std::string& line);
    void readField(const std::string& line);

    std::uint64_t status = 0;
    std::string reason = "(null)";
    std::map<std::string, std::string> fields;
    std::optional<std::uint64_t> length;
};

Head::State Head::read(const std::string& text, std::size_t& at) {
    if (text.empty()) {
        return State::Failed;
    }
    std::optional<std::string> line = takeLine(text, at);
    if (!line) {
        return State::Partial;
    }
    if (!readStatus(*line)) {
        return State::Failed;
    }
    while ((line = takeLine(text, at)) && !line->empty()) {
        readField(*line);
    }
    return line ? State::Whole : State::Partial;
}

bool Head::readStatus(const std::string& line) {
    std::vector<std::string> words(1);
    for (const char c : line) {
        if (c == ' ' && words.size() < 3) {
            words.emplace_back();
        } else {
            words.back() += c;
        }
    }
    if (words.size() < 3) {
        return false;
    }
    status = numberOf(words[1]).value_or(400);
    reason = words[2];
    return true;
}

void Head::readField(const std::string& line) {
    std::string parts[2];
    bool behindColon = false;
    for (const char c : line) {
        if (c == ':' && !behindColon) {
            behindColon = true;
        } else {
            parts[behindColon ? 1 : 0] += c;
        }
    }
    if (!behindColon) {
        return;
    }
    const std::string name = lowered(trimmed(parts[0]));
    const std::string value = trimmed(parts[1]);
    if (name == "content-length") {
        length = numberOf(value);
        if (length == UINT64_MAX) {
            length.reset();  // the library's mark for a length that is not known
        }
    }
    fields.emplace(name, value);
}

class Exchange {
public:
    Exchange(const std::vector<std::string>& answers, bool follow)
        : answers_(answers), follow_(follow) {}

    Ending run() {
        while (hop()) {
        }
        return ending_;
    }

private:
    bool fail(std::uint32_t code) {
        ending_.code = code;
        return false;
    }
    /// Answers whether another hop follows.
    bool hop();
    bool redirect(const Head& head, const plain_rules::Hop& from);
    bool end(const Head& head, const std::string& body);

    const std::vector<std::string>& answers_;
    bool follow_;
    Chain chain_{"http://server/path?query"};
    std::string previous_ = "(null)";
    Ending ending_;
};

bool Exchange::hop() {
    const plain_rules::SplitResult url = plain_rules::split(*chain_.current(), false, false);
    if (url.error != 0 || url.protocol != "http") {
        return fail(ErrInvalidArgument);
    }
    if (url.host->empty()) {
        return fail(ErrTransfer);
    }
    const std::size_t number = ending_.connections++;
    const std::string answer = number < answers_.size() ? answers_[number] : std::string();
    const auto port = static_cast<std::uint16_t>(url.port != 0 ? url.port : 80);
    Head head;
    std::size_t at = 0;
    const Head::State state = head.read(answer, at);
    if (state == Head::State::Failed) {
        return fail(ErrTransfer);
    }
    if (state == Head::State::Partial) {
        head.length.reset();
        return end(head, "");
    }
    if (head.status >= 300 && head.status <= 399 && redirect(head, {"http", *url.host, port})) {
        return true;
    }
    return ending_.code == 0 && end(head, answer.substr(at));
}

bool Exchange::redirect(const Head& head, const plain_rules::Hop& from) {
    ending_.redirected = true;
    const auto location = head.fields.find("location");
    const std::string current = *chain_.current();
    switch (chain_.take(location != head.fields.end() ? location->second : "", from)) {
        case Chain::Step::NoLocation:
            return false;
        case Chain::Step::Cycle:
            return fail(ErrTransfer);
        case Chain::Step::Moved:
            break;
    }
    previous_ = current;
    return follow_;
}

bool Exchange::end(const Head& head, const std::string& body) {
    if (head.length && body.size() < *head.length) {
        return fail(ErrTransfer);
    }
    ending_.status = head.status;
    ending_.reason = head.reason;
    ending_.fields = head.fields;
    ending_.url = chain_.current().value_or(previous_);
    ending_.body = body;
    ending_.leastOfBody = head.length ? static_cast<std::size_t>(*head.length) : body.size();
    return false;
}

}  // namespace

Ending endingOf(const std::vector<std::string>& answers, bool follow) {
    return Exchange(answers, follow).run();
}

}  // namespace plain_exchange
