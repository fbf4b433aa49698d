#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "platform/runtime/object.hpp"
#include "platform/runtime/string.hpp"

namespace cli {

/// Answers a string as JSON, a null one as JSON's null.
inline nlohmann::ordered_json jsonOf(const Ref<String>& text) {
    return text ? nlohmann::ordered_json(std::string(text->view())) : nullptr;
}

/// Answers the one-line text of a JSON value; bytes that are not UTF-8 stand as U+FFFD.
inline std::string lineOf(const nlohmann::ordered_json& value) {
    return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace cli
