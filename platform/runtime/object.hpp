#pragma once

#include <atomic>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/runtime/export.hpp"
#include "platform/runtime/heap.hpp"

/// Base of everything that is shared by counted references; interfaces take it as a virtual base.
///
/// Copying an object never copies its count: the copy starts with no references of its own.
///
/// @threads Counting is atomic; what else an object allows, its class says.
class VORNIK_EXPORT RefCount {
public:
    virtual ~RefCount() = default;

    /// Takes one more reference.
    void addReference() const noexcept { references_.fetch_add(1, std::memory_order_relaxed); }

    /// Gives one reference back; the last one destroys the object.
    void releaseReference() const noexcept {
        if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }

    /// Answers how many references there are at this moment; of use to tests and diagnostics only.
    [[nodiscard]] std::uint32_t referenceCount() const noexcept {
        return references_.load(std::memory_order_relaxed);
    }

protected:
    RefCount() noexcept = default;
    RefCount(const RefCount&) noexcept {}
    RefCount& operator=(const RefCount&) noexcept {
        return *this;
    }  // NOLINT(bugprone-unhandled-self-assignment): nothing to copy

private:
    mutable std::atomic<std::uint32_t> references_{0};
};

/// Base of the concrete classes: their memory comes from `Heap`.
class VORNIK_EXPORT Object : public virtual RefCount {
public:
    static void* operator new(std::size_t size) noexcept { return Heap::alloc(size, Heap::Object); }
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* block) noexcept { Heap::free(block, Heap::Object); }
    static void operator delete(void*, void*) noexcept {}
};

/// A type whose objects can be seen as objects of `Base`.
template <class Derived, class Base>
concept ViewOf = std::convertible_to<Derived*, Base*>;

class String;
template <class T>
class Ref;

/// A text as C++ programs have them: a literal, a pointer to characters, `std::string`,
/// `std::string_view`, or a path, whose `native` answers one.
template <class T>
concept TextLike = !std::same_as<T, std::nullptr_t> && !std::same_as<T, Ref<String>> &&
                   (std::convertible_to<const T&, std::string_view> || requires(const T& path) {
                       { path.native() } -> std::convertible_to<std::string_view>;
                   });

/// Answers the octets of a text; a null pointer has none.
template <TextLike Text>
std::string_view viewOf(const Text& text) noexcept {
    if constexpr (std::is_pointer_v<Text>) {
        return text != nullptr ? std::string_view(text) : std::string_view();
    } else if constexpr (std::convertible_to<const Text&, std::string_view>) {
        return text;
    } else {
        return text.native();
    }
}

/// A counted reference to an object, or null. Moving it leaves the count untouched.
///
/// A reference to a `String` is made of any text, and read as one, without further ado.
///
/// @threads Distinct references may be used on distinct threads; one reference by one thread at a
///          time.
template <class T>
class Ref {
public:
    Ref() noexcept = default;
    // NOLINTNEXTLINE(google-explicit-constructor): null is a value of every reference
    Ref(std::nullptr_t) noexcept {}

    /// Takes one reference to `object`, which may be null.
    explicit Ref(T* object) noexcept : object_(object) {
        if (object_ != nullptr) {
            object_->addReference();
        }
    }
    Ref(const Ref& other) noexcept : Ref(other.object_) {}
    Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}

    template <ViewOf<T> U>
    // NOLINTNEXTLINE(google-explicit-constructor): towards a base
    Ref(const Ref<U>& other) noexcept : Ref(static_cast<T*>(other.get())) {}
    template <ViewOf<T> U>
    // NOLINTNEXTLINE(google-explicit-constructor): towards a base
    Ref(Ref<U>&& other) noexcept : object_(other.detach()) {}

    /// Makes a string of a text, which is copied; a null pointer gives null.
    template <TextLike Text>
    requires std::same_as<T, String>
    // NOLINTNEXTLINE(google-explicit-constructor): a text is what a string is made of
    Ref(const Text& text) {
        if constexpr (std::is_pointer_v<Text>) {
            if (text == nullptr) {
                return;
            }
        }
        *this = T::create(viewOf(text));
    }

    ~Ref() {
        if (object_ != nullptr) {
            object_->releaseReference();
        }
    }

    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the copy is taken first
    Ref& operator=(const Ref& other) noexcept {
        Ref(other).swap(*this);
        return *this;
    }
    Ref& operator=(Ref&& other) noexcept {
        Ref(std::move(other)).swap(*this);
        return *this;
    }

    /// Constructs a new object and answers the first reference to it.
    template <class... Arguments>
    [[nodiscard]] static Ref make(Arguments&&... arguments) {
        return Ref(new T(std::forward<Arguments>(arguments)...));
    }

    /// Answers another view of the same object (a dynamic cast), or null when the object has none.
    template <class U>
    [[nodiscard]] Ref<U> as() const noexcept {
        return Ref<U>(dynamic_cast<U*>(object_));
    }

    [[nodiscard]] T* get() const noexcept { return object_; }
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }
    /// Answers the octets of a string, valid as long as the string; null has none.
    // NOLINTNEXTLINE(google-explicit-constructor): a string is a text
    operator std::string_view() const noexcept requires std::same_as<T, String> {
        return object_ != nullptr ? object_->view() : std::string_view();
    }

    /// Answers the pointer and leaves null here; the caller owns the reference from then on.
    [[nodiscard]] T* detach() noexcept { return std::exchange(object_, nullptr); }
    void reset() noexcept { Ref().swap(*this); }
    void swap(Ref& other) noexcept { std::swap(object_, other.object_); }

    /// Two references are equal when they name the same object; texts compare by `String::equals`.
    friend bool operator==(const Ref& left, const Ref& right) noexcept {
        return left.object_ == right.object_;
    }
    friend bool operator==(const Ref& left, std::nullptr_t) noexcept {
        return left.object_ == nullptr;
    }
    /// A string equals a text of the same octets; null equals none.
    template <TextLike Text>
    requires std::same_as<T, String>
    friend bool operator==(const Ref& left, const Text& right) noexcept {
        return left && left->view() == viewOf(right);
    }

private:
    T* object_ = nullptr;
};
