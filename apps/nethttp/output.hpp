#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/runtime/object.hpp"
#include "platform/streams/streams.hpp"

#include "partial_file.hpp"

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
    /// As `open`, but a file is written beside its name where that is possible, and takes the name
    /// when it is kept.
    static Ref<Output> openBeside(const std::string& name, Observer observer);
    Output(Ref<Interfaces::Stream> stream, std::string name, Observer observer,
           std::unique_ptr<PartialFile> partial = nullptr);

    std::int64_t write(TransferBuffer buffer, std::uint64_t size, std::uint32_t timeout) override;
    /// Writes bytes that the caller holds.
    [[nodiscard]] bool writeAll(const void* bytes, std::uint64_t size);
    /// Answers whether a file is written beside its name.
    [[nodiscard]] bool isBeside() const noexcept { return static_cast<bool>(partial_); }
    /// Complains about a write that failed since the last call.
    ///
    /// @return Whether there was one.
    bool complainOfFailure();
    /// Gives a file that was written beside its name the name.
    ///
    /// @return False after a complaint.
    [[nodiscard]] bool keep();
    /// Leaves the name as it was: tells where the bytes are that came, or removes the file when there
    /// are none.
    ///
    /// @threads Any, for it may be the program's last act; then `keep` must not be called.
    void abandon();

private:
    std::unique_ptr<PartialFile> partial_;  // before the stream, which writes to it
    Ref<Interfaces::Stream> stream_;
    std::string name_;
    Observer observer_;
    std::atomic<std::uint64_t> written_ = 0;
    std::uint32_t failure_ = 0;
    bool failed_ = false;
};

}  // namespace cli
