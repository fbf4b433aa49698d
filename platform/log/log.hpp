#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/runtime/export.hpp"
#include "platform/runtime/object.hpp"
#include "platform/runtime/string.hpp"
#include "platform/runtime/string_util.hpp"

/// The channels of the system log and what is written of them.
///
/// A record is written when the log's level is at most the record's level and its channel is on.
///
/// @threads Any thread.
class VORNIK_EXPORT SysLogFilter {
public:
    /// Registers a channel for the life of the process; on unless `VORNIK_LOG_OFF` names it. There
    /// are 64; those that come later share the last one.
    ///
    /// @param name  Kept as it is given: a literal. @return The channel's handle, never 0.
    static std::uint64_t reg(const char* name) noexcept;
    /// Answers the log's level: 3 unless `VORNIK_LOG_LEVEL` or `setLevel` says otherwise.
    static std::uint32_t level() noexcept;
    static void setLevel(std::uint32_t level) noexcept;
    /// Tells whether a channel is on.
    static bool state(std::uint64_t handle) noexcept;
    static void setState(std::uint64_t handle, bool on) noexcept;
    /// Answers the id by which a printer names the channel.
    static std::uint32_t id(std::uint64_t handle) noexcept;
    /// Answers the handle of a registered channel by name, 0 when there is none.
    static std::uint64_t find(std::string_view name) noexcept;
};

/// The printer of log records: pieces are appended, and only `endRecord` makes them a line of the
/// log.
///
/// A record under construction belongs to its thread: every call of `stdOutPrinter` on a thread
/// answers the same printer, so that several statements can build one record. Values are written as
/// they are appended; `hexadecimal` holds for the next number alone.
class VORNIK_EXPORT SysLogStream final : public Object {
public:
    /// Takes finished records in place of standard error. Called on the thread that ends the
    /// record.
    using Sink = void (*)(std::uint32_t level, const char* channel, std::string_view text);

    static Ref<SysLogStream> stdOutPrinter();
    /// Puts a sink in place for the process; null: the one that writes lines to standard error.
    static void setSink(Sink sink) noexcept;
    /// Writes one record as the default sink does: a line with time, level, channel and escaped
    /// text.
    static void writeLine(std::uint32_t level, const char* channel, std::string_view text) noexcept;

    SysLogStream& setLevel(std::uint32_t level) noexcept;
    SysLogStream& setChannel(std::uint32_t id) noexcept;
    SysLogStream& text(std::string_view text);
    /// A null reference shows as "(null)".
    SysLogStream& text(const Ref<String>& text);
    template <TextLike Text>
    SysLogStream& text(const Text& octets) {
        return text(viewOf(octets));
    }
    SysLogStream& boolean(bool value);
    SysLogStream& number(std::uint64_t value);
    SysLogStream& number(std::int64_t value);
    SysLogStream& hexadecimal() noexcept;
    /// Ends the record: hands it to the sink and empties the printer. The thread's error code
    /// survives.
    void endRecord();
    /// Writes memory as records of their own, `perLine` bytes each: offset, hexadecimal digits,
    /// text. What was appended before is ended first.
    ///
    /// @param group  Bytes between blanks in the hexadecimal part.
    void dump(const void* start, std::size_t count, std::size_t group, std::size_t perLine);

private:
    StringPrinter record_;
    std::uint32_t level_ = 0;
    std::uint32_t channel_ = 0;
};
