/* The main program of every client: reads the command line, runs the exchanges on the wanted number
 * of threads, checks each answer, and tells time, processor time and peak memory. */
#include "harness.h"

#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

enum { MostThreads = 64 };
enum { OwnFields = 2 }; /* the server sends Content-Length and Connection with every head */

struct Share { /* what one thread has to do */
    const struct Task* task;
    unsigned long count;
    bool failed;
};

bool complain(const char* what, const char* detail) {
    fprintf(stderr, "%s: %s\n", what, detail != NULL ? detail : "(no reason)");
    return false;
}

bool splitUrl(const char* url, struct Address* address) {
    char scheme[8];
    memset(address, 0, sizeof *address);
    const int fields = sscanf(url, "%7[a-z]://%63[^:/]:%7[0-9]%255s", scheme, address->host,
                              address->port, address->path);
    address->tls = strcmp(scheme, "https") == 0;
    return fields == 4 && (address->tls || strcmp(scheme, "http") == 0);
}

/* The number that a path ends with tells the size of the body, or the number of fields. */
static uint64_t numberOf(const char* path) {
    const char* const slash = strrchr(path, '/');
    return slash != NULL ? strtoull(slash + 1, NULL, 10) : 0;
}

static bool readJob(const char* name, enum Job* job) {
    static const char* const names[] = {"stream", "keep", "upload", "head", "chain"};
    for (unsigned i = 0; i < sizeof names / sizeof *names; ++i) {
        if (strcmp(name, names[i]) == 0) {
            *job = (enum Job)i;
            return true;
        }
    }
    return complain(name, "no such job");
}

/* A body of any size in the memory of a megabyte, mapped again and again: what is compared is the
 * sending, not the memory of this machine. */
static const char* makeBody(uint64_t size) {
    const int file = memfd_create("body", 0);
    char* const body = mmap(NULL, size + Megabyte, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (file < 0 || ftruncate(file, Megabyte) != 0 || body == MAP_FAILED) {
        return NULL;
    }
    for (uint64_t place = 0; place < size; place += Megabyte) {
        if (mmap(body + place, Megabyte, PROT_READ | PROT_WRITE,
                 MAP_SHARED | MAP_FIXED | MAP_POPULATE, file, 0) == MAP_FAILED) {
            return NULL;
        }
    }
    memset(body, 'u', Megabyte);
    close(file);
    return body;
}

static bool makeTask(const char* job, const char* url, struct Task* task) {
    if (!readJob(job, &task->job)) {
        return false;
    }
    if (!splitUrl(url, &task->address)) {
        return complain(url, "not a URL with host, port and path");
    }
    task->url = url;
    task->bundle = getenv("COMPARE_BUNDLE");        // NOLINT(concurrency-mt-unsafe): no thread yet
    task->authority = getenv("COMPARE_AUTHORITY");  // NOLINT(concurrency-mt-unsafe): the same
    if (task->address.tls && (task->bundle == NULL || task->authority == NULL)) {
        return complain(url, "COMPARE_BUNDLE or COMPARE_AUTHORITY is not set");
    }
    task->size = numberOf(task->address.path);
    if (task->job == JobUpload && (task->body = makeBody(task->size)) == NULL) {
        return complain(url, "no memory for the body");
    }
    return true;
}

/* A difference of numbers, in words. */
static bool wrong(const char* what, uint64_t found, uint64_t expected) {
    fprintf(stderr, "%s: %llu in place of %llu\n", what, (unsigned long long)found,
            (unsigned long long)expected);
    return false;
}

static bool check(const struct Task* task, const struct Answer* answer) {
    const bool page = task->job == JobHead || task->job == JobChain;
    const uint64_t expected = page ? PageSize : task->size;
    if (answer->status != 200) {
        return wrong("status", (uint64_t)answer->status, 200);
    }
    if (task->job != JobUpload && answer->bytes != expected) {
        return wrong("size of the body", answer->bytes, expected);
    }
    if (task->job == JobHead && answer->fields != task->size + OwnFields) {
        return wrong("header fields", answer->fields, task->size + OwnFields);
    }
    if (task->job == JobKeep &&
        (answer->kept == NULL || answer->kept[0] != 'x' || answer->kept[expected - 1] != 'x')) {
        return complain("kept body", "not what the server sends");
    }
    return true;
}

static void* runShare(void* argument) {
    struct Share* const share = argument;
    void* const state = clientOpen(share->task);
    for (unsigned long i = 0; i < share->count && !share->failed; ++i) {
        struct Answer answer = {0, 0, 0, NULL};
        share->failed =
            !clientExchange(state, share->task, &answer) || !check(share->task, &answer);
    }
    clientClose(state);
    return NULL;
}

/* A single thread is the program's own: most programs are such. */
static bool runAll(const struct Task* task, unsigned long count, unsigned threads) {
    struct Share shares[MostThreads];
    pthread_t ids[MostThreads];
    unsigned started = 0;
    bool failed = false;
    for (unsigned i = 0; i < threads; ++i) {
        shares[i] = (struct Share){task, count / threads + (i < count % threads ? 1 : 0), false};
    }
    if (threads == 1) {
        runShare(&shares[0]);
        return !shares[0].failed;
    }
    while (started < threads &&
           pthread_create(&ids[started], NULL, runShare, &shares[started]) == 0) {
        ++started;
    }
    for (unsigned i = 0; i < started; ++i) {
        pthread_join(ids[i], NULL);
        failed = failed || shares[i].failed;
    }
    return started == threads ? !failed : complain("threads", "could not be started");
}

/* Of this program alone: what getrusage tells includes the program that started it. */
static long peakMemory(void) {
    FILE* const file = fopen("/proc/self/status", "r");
    char line[256];
    long kib = -1;
    while (file != NULL && kib < 0 && fgets(line, sizeof line, file) != NULL) {
        (void)sscanf(line, "VmHWM: %ld", &kib);
    }
    if (file != NULL) {
        fclose(file);
    }
    return kib;
}

struct Clock {
    double wall, user, system;
};

static double seconds(struct timeval time) {
    return (double)time.tv_sec + (double)time.tv_usec / 1e6;
}

static struct Clock now(void) {
    struct timespec wall;
    struct rusage usage;
    clock_gettime(CLOCK_MONOTONIC, &wall);
    getrusage(RUSAGE_SELF, &usage);
    return (struct Clock){(double)wall.tv_sec + (double)wall.tv_nsec / 1e9, seconds(usage.ru_utime),
                          seconds(usage.ru_stime)};
}

static int usage(void) {
    fputs(
        "usage: CLIENT stream|keep|upload|head|chain URL COUNT [THREADS]\n"
        "       CLIENT --version\n",
        stderr);
    return 2;
}

int main(int argc, char** argv) {
    struct Task task = {0};
    if (argc == 2 && strcmp(argv[1], "--version") == 0) {
        puts(clientVersion());
        return 0;
    }
    const unsigned long count = argc >= 4 ? strtoul(argv[3], NULL, 10) : 0;
    const unsigned long threads = argc == 5 ? strtoul(argv[4], NULL, 10) : 1;
    if (argc < 4 || argc > 5 || count == 0 || threads == 0 || threads > MostThreads) {
        return usage();
    }
    signal(SIGPIPE, SIG_IGN);
    if (!makeTask(argv[1], argv[2], &task)) {
        return 1;
    }
    const struct Clock begin = now();
    const bool done = runAll(&task, count, (unsigned)threads);
    const struct Clock end = now();
    if (!done) {
        return 1;
    }
    const long own = task.job == JobUpload ? (long)(task.size / 1024) : 0; /* of makeBody */
    printf(
        "{\"exchanges\": %lu, \"seconds\": %.6f, \"user\": %.6f, \"system\": %.6f, "
        "\"peak_kib\": %ld}\n",
        count, end.wall - begin.wall, end.user - begin.user, end.system - begin.system,
        peakMemory() - own);
    return 0;
}
