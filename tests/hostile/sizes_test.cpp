// Answers that are too long, or say so: in memory that has a bound.
#include "tests/exchange/answers.hpp"
#include "tests/support/bounds.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

constexpr std::uint64_t MiB = 1U << 20U;
constexpr std::size_t Buffer = MiB;
const std::string Ok = "HTTP/1.1 200 OK\r\n";

std::uint64_t shortOrLong(std::uint64_t shortForm, std::uint64_t longForm) {
    return isLongForm() ? longForm : shortForm;
}

/// A step that sends a text so often that it makes up a number of bytes, or one more text.
Generate bytesOf(const std::string& text, std::uint64_t bytes) {
    std::string block;
    while (block.size() < 65536) {
        block += text;
    }
    const std::uint64_t count = bytes == Generate::Endless ? bytes : bytes / block.size() + 1;
    return {[block](std::uint64_t) { return block; }, count};
}

TEST(EndlessLine, EndsTheHeadAtTheSizeOfTheBuffer) {
    struct Case {
        const char* name;
        std::string before;
        std::size_t length;  // of the line, without its end
        std::uint64_t status;
        bool whole;
    };
    const std::string status = "HTTP/1.1 200 ";
    const Case cases[] = {
        {"StatusLineThatFits", status, Buffer - 1, 200, true},
        {"StatusLineOfOneMore", status, Buffer, 0, false},
        {"StatusLineWithoutEnd", status, SIZE_MAX, 0, false},
        {"FieldThatFits", Ok + "A: b\r\nC: ", Buffer - 1, 200, true},
        {"FieldOfOneMore", Ok + "A: b\r\nC: ", Buffer, 200, false},
        {"FieldWithoutEnd", Ok + "A: ", SIZE_MAX, 200, false},
        {"NameWithoutEnd", Ok, SIZE_MAX, 200, false},
    };
    for (const Case& row : cases) {
        for (const std::string& end : {std::string("\n"), std::string("\r\n")}) {
            SCOPED_TRACE(row.name);
            const std::size_t lineStart = row.before.rfind('\n') + 1;  // 0 without one
            const std::size_t inLine = row.before.size() - lineStart;
            std::vector<Step> script = {ReadHead{}, Send{row.before}};
            if (row.length == SIZE_MAX) {
                script.emplace_back(bytesOf("xxxxxxxx", Generate::Endless));
            } else {
                const std::string rest(row.length - inLine, 'x');
                script.insert(script.end(), {Send{rest}, Send{end}, Send{end}, Send{"abc"}});
            }
            ScriptedServer server(std::move(script));
            const LogCapture log(3);
            const Bounds bounds({.bytes = 8 * MiB});
            const Ref<Response> response = requestFor(server)->perform(0);
            ASSERT_TRUE(response);
            EXPECT_EQ(response->statusCode(), row.status);
            EXPECT_EQ(response->bodySize(), row.whole ? 3U : 0U);
            if (row.before.ends_with("C: ")) {
                const std::string fields =
                    row.whole ? "A=b;C=" + std::string(Buffer - 4, 'x') + ";" : "A=b;";
                EXPECT_TRUE(look(response).fields == fields);
            }
            EXPECT_EQ(log.records(), row.whole ? warnings({}) : warnings({NoMore}));
        }
    }
}

TEST(EndlessHead, OfOneNameTakesNoMemory) {
    const std::pair<const char*, const char*> lines[] = {
        {"A: b\r\n", "A=b;"},
        {"A: b\r", "A=b;"},
        {": b\n", "=b;"},
        {"no colon\r\n", ""},
        {"Content-Length: 7\r\n", "Content-Length=7;"},
        {"Content-Length: x\r\n", "Content-Length=x;"},
    };
    const std::uint64_t size = shortOrLong(16 * MiB, 1024 * MiB);
    for (const auto& [line, fields] : lines) {
        SCOPED_TRACE(line);
        ScriptedServer server{ReadHead{}, Send{Ok}, bytesOf(line, size)};
        const LogCapture quiet(5);
        const Bounds bounds({.bytes = 4 * MiB, .seconds = isLongForm() ? 600.0 : 10.0});
        const Seen seen = look(requestFor(server)->perform(0));
        EXPECT_EQ(seen.fields, fields);
        EXPECT_EQ(seen.status, 200U);
        EXPECT_TRUE(server.finished()) << server.report();
    }
}

TEST(ManyFields, TakeMemoryByTheirNumber) {
    const std::uint64_t count = shortOrLong(50'000, 1'000'000);
    // Ordered either way, and nearly alike: what could make a search tree, or a comparison, slow.
    const std::function<std::string(std::uint64_t)> names[] = {
        [](std::uint64_t i) { return std::to_string(1'000'000 + i); },
        [](std::uint64_t i) { return std::to_string(9'000'000 - i); },
        [](std::uint64_t i) { return std::string(100, 'x') + std::to_string(i); },
    };
    for (const auto& name : names) {
        ScriptedServer server{ReadHead{}, Send{Ok},
                              Generate{[&](std::uint64_t i) { return name(i) + ": v\r\n"; }, count},
                              Send{"\r\nabc"}};
        const LogCapture quiet(5);
        Ref<Response> response;
        {
            const Bounds bounds({.bytes = 4 * MiB + count * 500,
                                 .seconds = 10 + 20e-6 * static_cast<double>(count)});
            response = requestFor(server)->perform(0);
        }
        ASSERT_TRUE(response);
        EXPECT_EQ(response->headerFields().size(), count);
        EXPECT_EQ(look(response).body, "abc");
    }
}

TEST(AnnouncedLength, ReservesNothing) {
    const std::uint64_t sent = shortOrLong(8, 1024) * MiB;
    for (const std::uint64_t length : {std::uint64_t{1} << 40U, UINT64_MAX - 1}) {
        const std::string head = Ok + "Content-Length: " + std::to_string(length) + "\r\n\r\n";
        ScriptedServer server{ReadHead{}, Send{head}, bytesOf("body", sent)};
        const LogCapture log(4);
        const Bounds bounds({.bytes = sent + sent / 4 + 8 * MiB,
                             .seconds = isLongForm() ? 60.0 : 10.0,
                             .reserved = 2 * sent + 256 * MiB});
        EXPECT_EQ(look(requestFor(server)->perform(0)).error, ErrTransfer);
        EXPECT_TRUE(log.hasFailure("Could not receive data; error: " + hexDec(ErrEndOfStream)));
        EXPECT_TRUE(server.finished()) << server.report();
    }
}

/// Takes any number of bytes and keeps none; all must be "b".
class Drain final : public Object, public virtual Interfaces::Stream {
public:
    std::int64_t write(TransferBuffer buffer, std::uint64_t count, std::uint32_t) override {
        const auto* const bytes = reinterpret_cast<const char*>(buffer.data());
        good =
            good && std::string_view(bytes, count).find_first_not_of('b') == std::string_view::npos;
        size += count;
        return static_cast<std::int64_t>(count);
    }
    std::uint64_t size = 0;
    bool good = true;
};

TEST(LargeBody, IsCountedAndNotKept) {
    const std::uint64_t size = shortOrLong(64 * MiB, 4096 * MiB) + 1;
    for (const bool withLength : {true, false}) {
        const std::string field =
            withLength ? "Content-Length: " + std::to_string(size) + "\r\n" : "";
        constexpr std::size_t block = 65536;
        const auto bytes = [](std::uint64_t) { return std::string(block, 'b'); };
        ScriptedServer server{ReadHead{}, Send{Ok + field + "\r\nb"},
                              Generate{bytes, size / block}};
        const Ref<Drain> drain = Ref<Drain>::make();
        const Bounds bounds({.bytes = 4 * MiB, .seconds = isLongForm() ? 120.0 : 10.0});
        const Ref<Response> response = requestFor(server)->perform(drain, 0);
        ASSERT_TRUE(response);
        EXPECT_EQ(response->bodySize(), size);
        EXPECT_EQ(drain->size, size);
        EXPECT_TRUE(drain->good);
    }
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
