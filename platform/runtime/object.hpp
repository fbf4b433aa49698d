/// @file
/// Objects that are shared by counted references.
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
    /// Run by the last reference; nobody else destroys a shared object.
    virtual ~RefCount() = default;

    /// Takes one more reference.
    void addReference() const noexcept { references_.fetch_add(1, std::memory_order_relaxed); }

    /// Gives one reference back; the last one destroys the object.
    void releaseReference() const noexcept {
        if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }

    /// @return How many references there are at this moment; of use to tests and diagnostics only.
    [[nodiscard]] std::uint32_t referenceCount() const noexcept {
        return references_.load(std::memory_order_relaxed);
    }

protected:
    /// A new object has no references.
    RefCount() noexcept = default;
    /// A copy has no references either.
    RefCount(const RefCount&) noexcept {}
    /// The count stays.
    ///
    /// @return The object itself.
    RefCount& operator=(const RefCount&) noexcept {
        return *this;
    }  // NOLINT(bugprone-unhandled-self-assignment): nothing to copy

private:
    mutable std::atomic<std::uint32_t> references_{0};
};

/// Base of the concrete classes: their memory comes from `Heap`.
///
/// @threads As `RefCount`.
class VORNIK_EXPORT Object : public virtual RefCount {
public:
    /// @param size  In bytes.
    /// @return A block of the heap, never null: the process ends when memory is gone.
    static void* operator new(std::size_t size) noexcept { return Heap::alloc(size, Heap::Object); }
    /// @param place  Memory that the caller owns.
    /// @return The same.
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    /// @param block  Goes back to the heap.
    static void operator delete(void* block) noexcept { Heap::free(block, Heap::Object); }
    /// Leaves the memory to the caller who owns it.
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

/// Answers the octets of a text.
///
/// @param text  Borrowed; a null pointer has no octets.
/// @return The octets, valid as long as the text.
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
/// @tparam T  The class, or the interface, that is referred to.
/// @threads Distinct references may be used on distinct threads; one reference by one thread at a
///          time.
template <class T>
class Ref {
public:
    /// Null.
    Ref() noexcept = default;
    /// Null.
    // NOLINTNEXTLINE(google-explicit-constructor): null is a value of every reference
    Ref(std::nullptr_t) noexcept {}

    /// Takes one more reference.
    ///
    /// @param object  May be null.
    explicit Ref(T* object) noexcept : object_(object) {
        if (object_ != nullptr) {
            object_->addReference();
        }
    }
    /// Takes one more reference.
    ///
    /// @param other  May be null.
    Ref(const Ref& other) noexcept : Ref(other.object_) {}
    /// Takes over a reference.
    ///
    /// @param other  Is null afterwards.
    Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}

    /// Takes one more reference, to an object of a derived class.
    ///
    /// @param other  May be null.
    template <ViewOf<T> U>
    // NOLINTNEXTLINE(google-explicit-constructor): towards a base
    Ref(const Ref<U>& other) noexcept : Ref(static_cast<T*>(other.get())) {}
    /// Takes over a reference to an object of a derived class.
    ///
    /// @param other  Is null afterwards.
    template <ViewOf<T> U>
    // NOLINTNEXTLINE(google-explicit-constructor): towards a base
    Ref(Ref<U>&& other) noexcept : object_(other.detach()) {}

    /// Makes a string of a text.
    ///
    /// @param text  Copied; a null pointer gives null.
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

    /// Gives its reference back; the last one destroys the object.
    ~Ref() {
        if (object_ != nullptr) {
            object_->releaseReference();
        }
    }

    /// Refers to what another one refers to.
    ///
    /// @param other  May be null.
    /// @return This reference.
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the copy is taken first
    Ref& operator=(const Ref& other) noexcept {
        Ref(other).swap(*this);
        return *this;
    }
    /// Takes over a reference.
    ///
    /// @param other  Is null afterwards.
    /// @return This reference.
    Ref& operator=(Ref&& other) noexcept {
        Ref(std::move(other)).swap(*this);
        return *this;
    }

    /// Constructs a new object.
    ///
    /// @param arguments  Those of its constructor.
    /// @return The first reference to it, never null.
    template <class... Arguments>
    [[nodiscard]] static Ref make(Arguments&&... arguments) {
        return Ref(new T(std::forward<Arguments>(arguments)...));
    }

    /// Looks at the same object as another class or interface (a dynamic cast).
    ///
    /// @tparam U  That class.
    /// @return One more reference, or null when the object is none of it.
    template <class U>
    [[nodiscard]] Ref<U> as() const noexcept {
        return Ref<U>(dynamic_cast<U*>(object_));
    }

    /// @return The object, borrowed, or null.
    [[nodiscard]] T* get() const noexcept { return object_; }
    /// @return The object; the reference must not be null.
    T* operator->() const noexcept { return object_; }
    /// @return The object; the reference must not be null.
    T& operator*() const noexcept { return *object_; }
    /// @return Whether the reference is not null.
    explicit operator bool() const noexcept { return object_ != nullptr; }
    /// @return The octets of a string, valid as long as the string; null has none.
    // NOLINTNEXTLINE(google-explicit-constructor): a string is a text
    operator std::string_view() const noexcept requires std::same_as<T, String> {
        return object_ != nullptr ? object_->view() : std::string_view();
    }

    /// Leaves null here without giving the reference back.
    ///
    /// @return The object; the caller owns the reference from then on.
    [[nodiscard]] T* detach() noexcept { return std::exchange(object_, nullptr); }
    /// Gives the reference back and leaves null here.
    void reset() noexcept { Ref().swap(*this); }
    /// Exchanges two references; no count changes.
    ///
    /// @param other  Refers to this object afterwards.
    void swap(Ref& other) noexcept { std::swap(object_, other.object_); }

    /// Two references are equal when they name the same object; texts compare by `String::equals`.
    friend bool operator==(const Ref& left, const Ref& right) noexcept {
        return left.object_ == right.object_;
    }
    /// Tells whether a reference is null.
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
