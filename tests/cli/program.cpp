// Runs the program with files for its standard streams: nothing can fill up and block.

#include "program.hpp"

#include <array>
#include <cstring>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/host.hpp"

namespace {

OwnedDescriptor memoryFile(std::string_view content) {
    OwnedDescriptor file(::memfd_create("stream", MFD_CLOEXEC));
    const auto written = ::write(file.number(), content.data(), content.size());
    EXPECT_TRUE(std::cmp_equal(written, content.size()));
    EXPECT_EQ(::lseek(file.number(), 0, SEEK_SET), 0);
    return file;
}

std::string contentOf(const OwnedDescriptor& file) {
    std::string content;
    std::array<char, 4096> piece{};
    off_t position = 0;
    for (ssize_t count = 0;
         (count = ::pread(file.number(), piece.data(), piece.size(), position)) > 0;) {
        content.append(piece.data(), static_cast<std::size_t>(count));
        position += count;
    }
    return content;
}

OwnedDescriptor pipeWithoutReader() {
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    (void)::close(ends[0]);
    return OwnedDescriptor(ends[1]);
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> inheritedEnvironment() {
    std::vector<std::string> kept;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        if (std::strncmp(*variable, "VORNIK_", 7) != 0) {
            kept.emplace_back(*variable);
        }
    }
    return kept;
}

}  // namespace

Program::Arguments argumentsOf(std::string_view text) {
    Program::Arguments arguments;
    for (bool more = !text.empty(); more;) {
        const std::size_t end = text.find('|');
        more = end != text.npos;
        arguments.emplace_back(text.substr(0, end));
        text.remove_prefix(more ? end + 1 : 0);
    }
    return arguments;
}

Program& Program::input(std::string bytes) {
    input_ = std::move(bytes);
    return *this;
}

Program& Program::environment(std::string assignment) {
    environment_.push_back(std::move(assignment));
    return *this;
}

Program& Program::withoutOutput() {
    outputKind_ = OutputKind::Closed;
    return *this;
}

Program& Program::withoutReader() {
    outputKind_ = OutputKind::NoReader;
    return *this;
}

Outcome Program::run() const {
    const OwnedDescriptor input = memoryFile(input_);
    const OwnedDescriptor output =
        outputKind_ == OutputKind::NoReader ? pipeWithoutReader() : memoryFile("");
    const OwnedDescriptor errors = memoryFile("");
    posix_spawn_file_actions_t actions;
    (void)::posix_spawn_file_actions_init(&actions);
    (void)::posix_spawn_file_actions_adddup2(&actions, input.number(), 0);
    (void)::posix_spawn_file_actions_adddup2(&actions, output.number(), 1);
    (void)::posix_spawn_file_actions_adddup2(&actions, errors.number(), 2);
    if (outputKind_ == OutputKind::Closed) {
        (void)::posix_spawn_file_actions_addclose(&actions, 1);
    }
    std::vector<std::string> words = arguments_;
    words.insert(words.begin(), "nethttp");
    std::vector<std::string> variables = inheritedEnvironment();
    variables.insert(variables.end(), environment_.begin(), environment_.end());
    pid_t child = 0;
    const int error = ::posix_spawn(&child, NETHTTP_PROGRAM, &actions, nullptr,
                                    pointersTo(words).data(), pointersTo(variables).data());
    (void)::posix_spawn_file_actions_destroy(&actions);
    EXPECT_EQ(error, 0);
    int status = 0;
    if (error != 0 || ::waitpid(child, &status, 0) != child) {
        return {};
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status), contentOf(output),
            contentOf(errors)};
}
