// What is wrong with values that each look right by themselves.

#include "option_checks.hpp"

#include <cstddef>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include "output.hpp"
#include "text.hpp"

namespace cli {

namespace {

/// Follows links, and does not mind when the file is not there yet.
std::filesystem::path resolved(const std::string& file) {
    std::error_code ignored;
    return std::filesystem::weakly_canonical(std::filesystem::absolute(file, ignored), ignored);
}

bool isSameFile(const std::string& left, const std::string& right) {
    std::error_code ignored;
    // Devices and pipes may well serve twice.
    const bool special =
        std::filesystem::exists(left, ignored) && !std::filesystem::is_regular_file(left, ignored);
    return !special &&
           (resolved(left) == resolved(right) || std::filesystem::equivalent(left, right, ignored));
}

}  // namespace

std::string wrongUrl(const std::string& url) {
    Ref<String> protocol;
    Ref<String> host;
    Ref<String> path;
    unsigned short port = 0;
    if (Request::splitUrl(stringOf(url), protocol, host, port, path, {})) {
        return {};
    }
    if (!protocol) {
        return "URL: '" + url + "' has no \"://\"";
    }
    (void)Request::splitUrl(stringOf(url), protocol, host, port, path,
                            Request::SplitFlag::KeepPortInHost);
    const std::string_view text = host->view().substr(host->view().rfind(':') + 1);
    const std::string hint = host->view().find('[') != std::string_view::npos
                                 ? "; an address in brackets needs its port behind it"
                                 : "";
    return "URL: '" + url + "' has '" + std::string(text) + "' for a port" + hint;
}

std::string clashOfFiles(const Options& options) {
    struct Named {
        const char* option;
        std::string file;
    };
    std::vector<Named> files;
    if (options.bodyFile && *options.bodyFile != standardStreamName) {
        files.push_back({"--body-file", *options.bodyFile});
    }
    if (options.output != standardStreamName) {
        files.push_back({"--output", options.output});
    }
    if (options.report) {
        files.push_back({"--report", *options.report});
    }
    for (std::size_t left = 0; left < files.size(); ++left) {
        for (std::size_t right = left + 1; right < files.size(); ++right) {
            if (isSameFile(files[left].file, files[right].file)) {
                return std::string(files[right].option) + ": '" + files[right].file +
                       "' is the file of " + files[left].option;
            }
        }
    }
    return {};
}

}  // namespace cli
