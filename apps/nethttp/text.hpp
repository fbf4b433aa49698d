#pragma once

#include <string>
#include <string_view>

#include "platform/runtime/object.hpp"
#include "platform/runtime/string.hpp"

namespace cli {

/// Answers a text as a string of the library.
inline Ref<String> stringOf(std::string_view text) {
    return String::create(text);
}

/// Answers the octets of a string, or what stands for null.
inline std::string textOf(const Ref<String>& string, std::string_view null = "(none)") {
    return std::string(string ? string->view() : null);
}

}  // namespace cli
