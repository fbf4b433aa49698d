/// @file
/// The system log: channels, levels, records and where they go.
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
    /// @param name  Kept as it is given: a literal.
    /// @return The channel's handle, never 0.
    static std::uint64_t reg(const char* name) noexcept;
    /// @return The log's level: 3 unless `VORNIK_LOG_LEVEL` or `setLevel` says otherwise.
    static std::uint32_t level() noexcept;
    /// Sets the log's level for the process, from now on.
    ///
    /// @param level  The lowest level that is written: 1 detail, 3 warnings, 4 failures, 5 none.
    static void setLevel(std::uint32_t level) noexcept;
    /// Tells whether a channel is on.
    ///
    /// @param handle  Of `reg` or `find`.
    /// @return False also for a handle that names no channel.
    static bool state(std::uint64_t handle) noexcept;
    /// Turns a channel on or off; a handle that names none is ignored.
    ///
    /// @param handle  Of `reg` or `find`.
    /// @param on      Whether its records are written.
    static void setState(std::uint64_t handle, bool on) noexcept;
    /// Answers the id by which a printer names the channel.
    ///
    /// @param handle  Of `reg` or `find`.
    /// @return What `SysLogStream::setChannel` takes.
    static std::uint32_t id(std::uint64_t handle) noexcept;
    /// Finds a channel that is registered already.
    ///
    /// @param name  Compared octet by octet.
    /// @return Its handle, 0 when there is none.
    static std::uint64_t find(std::string_view name) noexcept;
};

/// The printer of log records: pieces are appended, and only `endRecord` makes them a line of the
/// log.
///
/// A record under construction belongs to its thread: every call of `stdOutPrinter` on a thread
/// answers the same printer, so that several statements can build one record. Values are written as
/// they are appended; `hexadecimal` holds for the next number alone. Every operation that builds
/// answers the printer again, so that calls chain.
///
/// @threads A printer is its thread's own; the static operations are for any thread.
class VORNIK_EXPORT SysLogStream final : public Object {
public:
    /// Takes finished records in place of standard error: level, name of the channel, and the text
    /// as it came, not escaped. Both texts are borrowed for the call. Called on the thread that
    /// ends the record, several threads at once; must not throw. It may log itself.
    using Sink = void (*)(std::uint32_t level, const char* channel, std::string_view text);

    /// @return The calling thread's printer, never null.
    static Ref<SysLogStream> stdOutPrinter();
    /// Puts a sink in place for the process.
    ///
    /// @param sink  Null: the one that writes lines to standard error.
    static void setSink(Sink sink) noexcept;
    /// Writes one record as the default sink does: a line with time (UTC), level, channel and
    /// escaped text. What standard error does not take is lost, without a failure.
    ///
    /// @param level    The record's level.
    /// @param channel  The name of its channel, not null.
    /// @param text     What it says; control characters and what is no UTF-8 become `\xNN`.
    static void writeLine(std::uint32_t level, const char* channel, std::string_view text) noexcept;

    /// Sets the level of the record under construction and of those that follow. Whether a level
    /// is wanted, the caller asks `SysLogFilter` first.
    ///
    /// @param level  1 detail, 3 warning, 4 failure.
    /// @return The printer.
    SysLogStream& setLevel(std::uint32_t level) noexcept;
    /// Sets the channel of the record under construction and of those that follow.
    ///
    /// @param id  Of `SysLogFilter::id`.
    /// @return The printer.
    SysLogStream& setChannel(std::uint32_t id) noexcept;
    /// Appends octets as they are.
    ///
    /// @param text  Copied.
    /// @return The printer.
    SysLogStream& text(std::string_view text);
    /// Appends a string.
    ///
    /// @param text  Null shows as "(null)".
    /// @return The printer.
    SysLogStream& text(const Ref<String>& text);
    /// Appends a text such as a `std::string`.
    ///
    /// @param octets  Copied.
    /// @return The printer.
    template <TextLike Text>
    SysLogStream& text(const Text& octets) {
        return text(viewOf(octets));
    }
    /// Appends "true" or "false".
    ///
    /// @param value  The truth.
    /// @return The printer.
    SysLogStream& boolean(bool value);
    /// Appends a number in decimal digits, or as `hexadecimal` has asked.
    ///
    /// @param value  The number.
    /// @return The printer.
    SysLogStream& number(std::uint64_t value);
    /// @copydoc number(std::uint64_t)
    SysLogStream& number(std::int64_t value);
    /// Has the next number written in lower-case hexadecimal digits.
    ///
    /// @return The printer.
    SysLogStream& hexadecimal() noexcept;
    /// Ends the record: hands it to the sink and empties the printer. The thread's error code
    /// survives.
    void endRecord();
    /// Writes memory as records of their own: offset, hexadecimal digits, text. What was appended
    /// before is ended first.
    ///
    /// @param start    The first byte; borrowed for the call.
    /// @param count    How many bytes; 0 writes nothing.
    /// @param group    Bytes between blanks in the hexadecimal part; 0: no blanks.
    /// @param perLine  Bytes in a record; 0 writes nothing.
    void dump(const void* start, std::size_t count, std::size_t group, std::size_t perLine);

private:
    StringPrinter record_;
    std::uint32_t level_ = 0;
    std::uint32_t channel_ = 0;
};
