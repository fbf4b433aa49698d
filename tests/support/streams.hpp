#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/streams/streams.hpp"

/// What a stream of the tests does when it is offered transfer memory.
enum class MapMode {
    NotSupported,  ///< Answers an empty mapping and the code 0x10002.
    Fails,         ///< Answers an empty mapping and the code `TestMapping::FailureCode`.
    Maps,          ///< Answers a mapping with the words `TestMapping::Words`.
};

/// The mapping side of the streams below: makes mappings, and checks what comes back of them.
class TestMapping {
public:
    static constexpr std::uint32_t FailureCode = 0x777;
    static constexpr std::array<std::uint64_t, 4> Words = {0xA1, 0xB2, 0xC3, 0xD4};

    explicit TestMapping(MapMode mode) noexcept : mode_(mode) {}
    Mapping map(const Ref<SharedMemory>& memory);
    void unmap(const Mapping& mapping);
    /// Looks at the buffer of a transfer: mapped when this maps, plain otherwise.
    void check(const TransferBuffer& buffer);

    /// Answers the sizes of the memory that was offered, in order.
    [[nodiscard]] const std::vector<std::size_t>& offered() const noexcept { return offered_; }
    [[nodiscard]] unsigned unmapped() const noexcept { return unmapped_; }
    /// Answers what was wrong with a transfer or an `unmap`; empty when nothing was.
    [[nodiscard]] const std::string& fault() const noexcept { return fault_; }

private:
    MapMode mode_;
    Ref<SharedMemory> memory_;
    std::vector<std::size_t> offered_;
    unsigned unmapped_ = 0;
    std::string fault_;
};

/// An output stream that collects its bytes and takes so many only.
class TestSink final : public Object, public virtual Interfaces::Stream {
public:
    struct Options {
        std::uint64_t room = UINT64_MAX;  ///< Bytes taken before writes come up short...
        std::uint32_t code = 0x555;       ///< ...with this code.
        MapMode map = MapMode::NotSupported;
    };

    explicit TestSink(const Options& options) : mapping(options.map), options_(options) {}
    std::int64_t write(TransferBuffer buffer, std::uint64_t size, std::uint32_t timeout) override;
    Mapping map(const Ref<SharedMemory>& memory) override { return mapping.map(memory); }
    void unmap(const Mapping& mapped) override { mapping.unmap(mapped); }

    TestMapping mapping;
    std::string bytes;
    std::vector<std::uint64_t> writes;  ///< The size of each write, as it was asked for.

private:
    Options options_;
};

/// Holds a `TestSink`, and shows it as the stream that `perform` takes.
class MemorySink {
public:
    MemorySink() : MemorySink(TestSink::Options{}) {}
    explicit MemorySink(const TestSink::Options& options) : sink_(Ref<TestSink>::make(options)) {}
    [[nodiscard]] Ref<Interfaces::Stream> stream() const { return sink_; }
    [[nodiscard]] const std::string& bytes() const { return sink_->bytes; }
    [[nodiscard]] const std::vector<std::uint64_t>& writes() const { return sink_->writes; }
    [[nodiscard]] const TestMapping& mapping() const { return sink_->mapping; }
    [[nodiscard]] std::uint32_t references() const { return sink_->referenceCount(); }

private:
    Ref<TestSink> sink_;
};

/// A sink that takes `room` bytes and then answers a short write with the code.
class FailingSink : public MemorySink {
public:
    FailingSink(std::uint64_t room, std::uint32_t code)
        : MemorySink(TestSink::Options{.room = room, .code = code}) {}
};

/// A sink that maps the transfer memory.
class MappingSink : public MemorySink {
public:
    explicit MappingSink(std::uint64_t room = UINT64_MAX)
        : MemorySink(TestSink::Options{.room = room, .map = MapMode::Maps}) {}
};

/// A body source with habits. Unlike the platform's sources it stays at its end once it is there.
class ScriptedBody final : public Object, public virtual Interfaces::Stripe {
public:
    struct Options {
        std::string bytes;
        std::uint64_t perRead = UINT64_MAX;   ///< Most bytes that one read delivers.
        std::uint64_t dryAfter = UINT64_MAX;  ///< Bytes after which reads answer 0...
        std::uint32_t code = 0x666;           ///< ...with this code.
        std::uint64_t element = 1;            ///< Element size, in bytes.
        std::uint64_t position = 0;           ///< Where it stands at first, in elements.
        MapMode map = MapMode::NotSupported;
        bool rewinds = false;  ///< Whether it is at its start again after its end.
    };

    explicit ScriptedBody(Options options)
        : mapping(options.map),
          options_(std::move(options)),
          at_(options_.position * options_.element) {}
    std::int64_t read(TransferBuffer buffer, std::uint64_t size, std::uint32_t timeout) override;
    Mapping map(const Ref<SharedMemory>& memory) override { return mapping.map(memory); }
    void unmap(const Mapping& mapped) override { mapping.unmap(mapped); }
    std::uint64_t setPosition(std::uint64_t position) override;
    std::uint64_t position() override { return at_ / options_.element; }
    std::uint64_t length() override { return options_.bytes.size() / options_.element; }
    std::uint64_t elementSize() override { return options_.element; }

    static Ref<ScriptedBody> create(Options options) {
        return Ref<ScriptedBody>::make(std::move(options));
    }

    TestMapping mapping;
    std::vector<std::uint64_t> asked;  ///< The size that each read asked for.

private:
    Options options_;
    std::uint64_t at_;
    std::uint64_t delivered_ = 0;
};
