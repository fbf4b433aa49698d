#pragma once

#include <string>
#include <vector>

#include "platform/log/log.hpp"

namespace fuzz {

/// The records since the list was emptied last, as texts.
inline std::vector<std::string>& records() {
    static std::vector<std::string> texts;
    return texts;
}

/// Has every record made and kept, and none written; empties the list.
inline void quietLog() {
    records().clear();
    SysLogFilter::setLevel(1);
    SysLogStream::setSink([](std::uint32_t level, const char* channel, std::string_view text) {
        records().push_back(std::to_string(level) + " " + channel + ": " + std::string(text));
    });
}

}  // namespace fuzz
