#pragma once

#include <string>

/// What the program asks of the operating system beyond the platform.
namespace cli::host {

/// Readies the process: descriptors 0 to 2 are taken, and a write that cannot succeed fails instead
/// of ending the process with a signal. To be called before anything else.
///
/// A standard stream that was closed stands for a file that refuses what the stream is for, so that
/// no file or connection of the program takes its number.
void prepareProcess();

/// Tells whether standard output can be written to at all.
bool standardOutputIsOpen();

/// Tells whether a descriptor, or the file of a path, is a terminal.
bool isTerminal(int descriptor);
bool isTerminal(const std::string& path);

/// Tells whether a path, followed through links, is a regular file.
bool isRegularFile(const std::string& path);

/// Tells whether a path, followed through links, is neither a regular file nor a folder.
bool isPipeOrDevice(const std::string& path);

/// Opens any kind of file; a pipe when it has a writer.
///
/// @return The descriptor, which `close` takes; -1 with `errno` set on failure.
int openForReading(const std::string& path);
void close(int descriptor);

/// Makes a folder for this run that only this user can enter.
///
/// @return Its path, empty with `errno` set on failure.
std::string makeTemporaryFolder();

/// Answers the width of standard error's terminal, 80 when it is unknown.
unsigned columns();

}  // namespace cli::host
