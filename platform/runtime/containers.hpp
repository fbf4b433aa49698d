#pragma once

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <set>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/runtime/heap.hpp"
#include "platform/runtime/object.hpp"
#include "platform/runtime/string.hpp"

namespace Definitions {

/// Maps an enumerator of sequence value n to bit n of a set's mask.
template <class Enum, class Mask>
struct EnumSeqConvert {
    static constexpr Mask toMask(Enum value) noexcept {
        return static_cast<Mask>(Mask{1} << static_cast<std::underlying_type_t<Enum>>(value));
    }
};

/// A set of enumerators, held as a mask.
template <class Enum, class Mask = unsigned int, class Convert = EnumSeqConvert<Enum, Mask>>
class Set {
public:
    constexpr Set() noexcept = default;
    // NOLINTNEXTLINE(google-explicit-constructor): an enumerator is a set of one
    constexpr Set(Enum value) noexcept : mask_(Convert::toMask(value)) {}
    constexpr Set(std::initializer_list<Enum> values) noexcept {
        for (const Enum value : values) {
            add(value);
        }
    }
    /// Answers the set of a mask; bits that stand for no enumerator are kept and mean nothing.
    static constexpr Set fromMask(Mask mask) noexcept {
        Set set;
        set.mask_ = mask;
        return set;
    }

    constexpr Set& add(Enum value) noexcept {
        mask_ = static_cast<Mask>(mask_ | Convert::toMask(value));
        return *this;
    }
    [[nodiscard]] constexpr bool has(Enum value) const noexcept {
        return (mask_ & Convert::toMask(value)) != 0;
    }
    [[nodiscard]] constexpr Mask mask() const noexcept { return mask_; }

    friend constexpr bool operator==(const Set&, const Set&) noexcept = default;

private:
    Mask mask_ = 0;
};

}  // namespace Definitions

/// A plain vector on the heap.
template <class T>
using HeapVector = std::vector<T, HeapAllocator<T>>;

/// A vector that is shared by counted references.
template <class T>
class TVector final : public Object {
public:
    void append(T value) { items_.push_back(std::move(value)); }
    [[nodiscard]] std::size_t size() const noexcept { return items_.size(); }
    [[nodiscard]] bool empty() const noexcept { return items_.empty(); }
    T& operator[](std::size_t index) noexcept { return items_[index]; }
    const T& operator[](std::size_t index) const noexcept { return items_[index]; }
    [[nodiscard]] auto begin() const noexcept { return items_.begin(); }
    [[nodiscard]] auto end() const noexcept { return items_.end(); }

private:
    HeapVector<T> items_;
};

/// An ordered set; `TSet<Ref<String>>` holds each text once, letter case significant.
template <class T>
using TSet =
    std::set<T, std::conditional_t<std::is_same_v<T, Ref<String>>, StringLess, std::less<T>>,
             HeapAllocator<T>>;
