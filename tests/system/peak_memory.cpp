// Runs a program and writes the peak of its resident memory, in KiB, to a file:
//
//     peak_memory FILE PROGRAM [ARGUMENT...]
//
// The kernel lets the peak of a new process begin with that of the one it was forked from, which an
// interpreter would spoil; this program is small enough to stand between.
#include <cstdio>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

int main(int count, char** arguments) {
    if (count < 3) {
        return 2;
    }
    const pid_t child = fork();
    if (child == 0) {
        execv(arguments[2], arguments + 2);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (child < 0 || wait4(child, &status, 0, &usage) != child) {
        return 126;
    }
    std::FILE* const file = std::fopen(arguments[1], "w");
    if (file == nullptr) {
        return 126;
    }
    std::fprintf(file, "%ld\n", usage.ru_maxrss);
    return std::fclose(file) == 0 && WIFEXITED(status) ? WEXITSTATUS(status) : 126;
}
