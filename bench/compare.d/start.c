/* Starts a program again and again, and tells how long it took to the first byte of its output.
 *
 *   start COUNT SIZE PROGRAM ARGUMENT...     SIZE: how many bytes the output must have */
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

extern char** environ;

static double now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (double)time.tv_sec + (double)time.tv_nsec / 1e9;
}

static double seconds(struct timeval time) {
    return (double)time.tv_sec + (double)time.tv_usec / 1e6;
}

/* Answers the seconds to the first byte, less than 0 when the program failed. */
static double once(char** command, size_t wanted) {
    int ends[2];
    char buffer[65536];
    size_t total = 0;
    int status = 0;
    pid_t child = 0;
    double first = -1;
    posix_spawn_file_actions_t actions;
    if (pipe(ends) != 0) {
        return -1;
    }
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[1]);
    const double begin = now();
    if (posix_spawnp(&child, command[0], &actions, NULL, command, environ) != 0) {
        return -1;
    }
    close(ends[1]);
    for (ssize_t count; (count = read(ends[0], buffer, sizeof buffer)) > 0;
         total += (size_t)count) {
        first = first < 0 ? now() - begin : first;
    }
    close(ends[0]);
    waitpid(child, &status, 0);
    posix_spawn_file_actions_destroy(&actions);
    return status == 0 && total == wanted ? first : -1;
}

int main(int argc, char** argv) {
    struct rusage usage;
    double sum = 0;
    if (argc < 4) {
        return 2;
    }
    const unsigned long count = strtoul(argv[1], NULL, 10);
    for (unsigned long i = 0; i < count; ++i) {
        const double first = once(argv + 3, strtoul(argv[2], NULL, 10));
        if (first < 0) {
            fprintf(stderr, "%s: failed, or its output has another size\n", argv[3]);
            return 1;
        }
        sum += first;
    }
    getrusage(RUSAGE_CHILDREN, &usage);
    printf(
        "{\"exchanges\": %lu, \"seconds\": %.6f, \"user\": %.6f, \"system\": %.6f, "
        "\"peak_kib\": %ld}\n",
        count, sum, seconds(usage.ru_utime), seconds(usage.ru_stime), usage.ru_maxrss);
    return 0;
}
