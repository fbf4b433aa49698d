#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/scripted_server.hpp"

/// What a run of the program came to.
struct Outcome {
    int status = -1;  ///< The exit status; 1000 and the number of a signal that ended the program.
    std::string output;
    std::string errors;
};

/// One run of the built program, as a user starts it. Its environment holds no variable of the
/// library but those given here.
class Program {
public:
    using Arguments = std::vector<std::string>;

    explicit Program(Arguments arguments) : arguments_(std::move(arguments)) {}
    Program& input(std::string bytes);
    Program& environment(std::string assignment);
    /// Starts it with standard output closed.
    Program& withoutOutput();
    /// Starts it with a standard output whose reader has gone.
    Program& withoutReader();
    [[nodiscard]] Outcome run() const;

private:
    enum class OutputKind { File, Closed, NoReader };

    Arguments arguments_;
    std::string input_;
    std::vector<std::string> environment_;
    OutputKind outputKind_ = OutputKind::File;
};

/// Runs the program with arguments alone.
inline Outcome runProgram(Program::Arguments arguments) {
    return Program(std::move(arguments)).run();
}

/// Cuts a row's arguments apart at every "|"; an empty text holds none.
Program::Arguments argumentsOf(std::string_view text);

/// A whole response with a length.
inline std::string response(std::string_view statusLine, std::string_view body) {
    return "HTTP/1.1 " + std::string(statusLine) +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
}

inline std::string urlOf(const ScriptedServer& server, std::string_view path) {
    return plain(server.url(path));
}
