#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/runtime/object.hpp"
#include "platform/streams/streams.hpp"

namespace cli {

/// As a file name: standard input or standard output.
inline constexpr const char* standardStreamName = "-";

/// Writes a text to standard output; complains on failure.
[[nodiscard]] bool writeToStandardOutput(std::string_view text);

/// Where bodies go: a file or standard output. It remembers why a write failed.
///
/// Complaints are left to the caller, which may have to end a line of its own first.
class Output final : public Object, public Interfaces::Stream {
public:
    /// Told how many bytes were written, after each write.
    using Observer = std::function<void(std::uint64_t)>;

    /// Opens a file, emptied, or standard output for `standardStreamName`.
    ///
    /// @return Null after a complaint.
    static Ref<Output> open(const std::string& name, Observer observer);
    Output(Ref<Interfaces::Stream> stream, std::string name, Observer observer);

    std::int64_t write(TransferBuffer buffer, std::uint64_t size, std::uint32_t timeout) override;
    /// Writes bytes that the caller holds.
    [[nodiscard]] bool writeAll(const void* bytes, std::uint64_t size);
    /// Complains about a write that failed since the last call.
    ///
    /// @return Whether there was one.
    bool complainOfFailure();

private:
    Ref<Interfaces::Stream> stream_;
    std::string name_;
    Observer observer_;
    std::uint32_t failure_ = 0;
    bool failed_ = false;
};

}  // namespace cli
