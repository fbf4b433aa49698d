/// @file
/// Sets of enumerators, and containers on the heap.
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
///
/// @tparam Enum  The enumeration.
/// @tparam Mask  An unsigned type with a bit for every enumerator.
template <class Enum, class Mask>
struct EnumSeqConvert {
    /// @param value  An enumerator.
    /// @return A mask with its bit alone.
    static constexpr Mask toMask(Enum value) noexcept {
        return static_cast<Mask>(Mask{1} << static_cast<std::underlying_type_t<Enum>>(value));
    }
};

/// A set of enumerators, held as a mask.
///
/// @tparam Enum     The enumeration.
/// @tparam Mask     An unsigned type with a bit for every enumerator.
/// @tparam Convert  Tells the bit of an enumerator.
/// @threads A plain value: one thread at a time may change it.
template <class Enum, class Mask = unsigned int, class Convert = EnumSeqConvert<Enum, Mask>>
class Set {
public:
    /// The empty set.
    constexpr Set() noexcept = default;
    /// The set of one enumerator.
    ///
    /// @param value  The enumerator.
    // NOLINTNEXTLINE(google-explicit-constructor): an enumerator is a set of one
    constexpr Set(Enum value) noexcept : mask_(Convert::toMask(value)) {}
    /// The set of several enumerators.
    ///
    /// @param values  Any number of them, in any order.
    constexpr Set(std::initializer_list<Enum> values) noexcept {
        for (const Enum value : values) {
            add(value);
        }
    }
    /// Answers the set of a mask.
    ///
    /// @param mask  Bits that stand for no enumerator are kept and mean nothing.
    /// @return The set.
    static constexpr Set fromMask(Mask mask) noexcept {
        Set set;
        set.mask_ = mask;
        return set;
    }

    /// Adds an enumerator.
    ///
    /// @param value  The enumerator; it may be there already.
    /// @return The set itself.
    constexpr Set& add(Enum value) noexcept {
        mask_ = static_cast<Mask>(mask_ | Convert::toMask(value));
        return *this;
    }
    /// @param value  An enumerator.
    /// @return Whether it is in the set.
    [[nodiscard]] constexpr bool has(Enum value) const noexcept {
        return (mask_ & Convert::toMask(value)) != 0;
    }
    /// @return The mask.
    [[nodiscard]] constexpr Mask mask() const noexcept { return mask_; }

    /// Sets are equal when their masks are.
    friend constexpr bool operator==(const Set&, const Set&) noexcept = default;

private:
    Mask mask_ = 0;
};

}  // namespace Definitions

/// A plain vector on the heap.
template <class T>
using HeapVector = std::vector<T, HeapAllocator<T>>;

/// A vector that is shared by counted references.
///
/// @tparam T  What it holds.
/// @threads Any number of threads may read; one thread at a time may change it.
template <class T>
class TVector final : public Object {
public:
    /// Puts a value behind the others; iterators and references end.
    ///
    /// @param value  Is moved in.
    void append(T value) { items_.push_back(std::move(value)); }
    /// @return How many values there are.
    [[nodiscard]] std::size_t size() const noexcept { return items_.size(); }
    /// @return Whether there is none.
    [[nodiscard]] bool empty() const noexcept { return items_.empty(); }
    /// @param index  Below the size; not checked.
    /// @return The value at the index, valid until the next `append`.
    T& operator[](std::size_t index) noexcept { return items_[index]; }
    /// @copydoc operator[](std::size_t)
    const T& operator[](std::size_t index) const noexcept { return items_[index]; }
    /// @return The iterator at the first value.
    [[nodiscard]] auto begin() const noexcept { return items_.begin(); }
    /// @return The iterator behind the last value.
    [[nodiscard]] auto end() const noexcept { return items_.end(); }

private:
    HeapVector<T> items_;
};

/// An ordered set; `TSet<Ref<String>>` holds each text once, letter case significant.
template <class T>
using TSet =
    std::set<T, std::conditional_t<std::is_same_v<T, Ref<String>>, StringLess, std::less<T>>,
             HeapAllocator<T>>;
