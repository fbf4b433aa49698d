// A body source over bytes in memory.

#include <algorithm>

#include "platform/streams/streams.hpp"

namespace {

class MemoryInput final : public Object, public virtual Interfaces::Stripe {
public:
    /// @param owner  Keeps the bytes; null when they are borrowed.
    MemoryInput(Ref<String> owner, std::string_view bytes)
        : owner_(std::move(owner)), bytes_(bytes) {}

    std::int64_t read(TransferBuffer buffer, std::uint64_t size, std::uint32_t) override {
        const std::uint64_t left = bytes_.size() - position_;
        const auto count = static_cast<std::size_t>(std::min(size, left));
        Mem::copy(bytes_.data() + position_, buffer.data(), count);
        position_ += count;
        if (position_ == bytes_.size()) {
            position_ = 0;  // at the start again for the next hop or exchange
        }
        return static_cast<std::int64_t>(count);
    }
    std::uint64_t setPosition(std::uint64_t position) override {
        position_ = position < bytes_.size() ? static_cast<std::size_t>(position) : bytes_.size();
        return position_;
    }
    std::uint64_t position() override { return position_; }
    std::uint64_t length() override { return bytes_.size(); }

private:
    Ref<String> owner_;
    std::string_view bytes_;
    std::size_t position_ = 0;
};

}  // namespace

Ref<Interfaces::Stripe> MemInStrm::create(std::string_view bytes) {
    return create(String::create(bytes));
}

Ref<Interfaces::Stripe> MemInStrm::create(const Ref<String>& bytes) {
    return bytes ? Ref<MemoryInput>::make(bytes, bytes->view()) : Ref<MemoryInput>();
}

Ref<Interfaces::Stripe> MemInStrm::borrow(const void* bytes, std::size_t size) {
    return Ref<MemoryInput>::make(nullptr, std::string_view(static_cast<const char*>(bytes), size));
}
