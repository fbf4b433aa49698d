// Downloads a URL to a file, with a progress bar; Ctrl-C cancels.
//
//   download URL FILE

#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>

#include <platform/streams/adapters.hpp>

#include <net/http/http.hpp>

namespace {

using namespace Libraries::Networks::HTTP::Client;  // NOLINT(google-build-using-namespace)

std::atomic<bool> interrupted = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may set it");

void showBar(double fraction) {
    constexpr int width = 40;
    const int done = static_cast<int>(fraction * width);
    std::cerr << "\r[" << std::string(done, '#') << std::string(width - done, ' ') << "] "
              << static_cast<int>(fraction * 100) << '%';
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        std::cerr << "usage: download URL FILE\n";
        return 2;
    }
    // The body goes beside the file and takes its place when it is complete.
    const std::filesystem::path file = arguments[2];
    const std::filesystem::path partial = file.string() + ".part";
    const auto output = Streams::toFile(partial);
    if (!output) {
        std::cerr << partial.string() << ": " << Error::describe() << '\n';
        return 1;
    }
    std::signal(SIGINT, [](int) { interrupted = true; });

    const auto response = Request::create()
                              ->setUrl(arguments[1])
                              ->onDownloadProgress(showBar)
                              ->cancelWhen([] { return interrupted.load(); })
                              ->perform(output);
    std::cerr << '\n';
    if (!response || response->statusCode() != 200) {
        std::cerr << (response ? response->reasonPhrase() : Error::describe()) << '\n';
        std::filesystem::remove(partial);
        return interrupted ? 130 : 1;
    }
    if (!response->headerField("Content-Length")) {
        // Then a connection that broke off looks like one that ended.
        std::cerr << partial.string() << ": the server did not tell how much was to come\n";
        return 1;
    }
    std::filesystem::rename(partial, file);
    std::cout << file.string() << ": " << response->bodySize() << " bytes\n";
}
