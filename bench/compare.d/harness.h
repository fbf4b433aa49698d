/* What the clients of the comparison share: their command line, the clock, and the checks.
 *
 *   CLIENT JOB URL COUNT [THREADS]     performs COUNT exchanges, tells what they cost as JSON
 *   CLIENT --version                   tells the version of the library behind it
 *
 * A client supplies the four functions at the end. All of them are held to the same checks, so that
 * no one is fast by doing less: the status, the size of the body, the number of header fields. */
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum Job {
    JobStream, /* the body is counted and dropped */
    JobKeep,   /* the whole body is in memory when the exchange ends */
    JobUpload, /* a body of memory goes to the server by PUT */
    JobHead,   /* the header fields are kept and counted */
    JobChain,  /* redirects are followed */
};

enum { MostRedirects = 20, PageSize = 1024, Megabyte = 1 << 20 };

/** A URL in parts. */
struct Address {
    bool tls;
    char host[64];
    char port[8];
    char path[256];
};

/** What all exchanges of a run have in common. */
struct Task {
    enum Job job;
    const char* url;
    struct Address address;
    const char* bundle;    /* certificates for https: the distribution's and the authority's */
    const char* authority; /* the benchmark's authority alone */
    uint64_t size;         /* of the body, up or down */
    const char* body;      /* what is uploaded, `size` bytes */
};

/** What an exchange brought. Bytes are those of the last body, fields those of the last head. */
struct Answer {
    long status;
    uint64_t bytes;
    uint64_t fields;
    const char* kept; /* of JobKeep: the body, valid until the next exchange of this thread */
};

/** Splits "http://host:port/path"; false for anything else. */
bool splitUrl(const char* url, struct Address* address);

/** Says on standard error what went wrong; answers false. */
bool complain(const char* what, const char* detail);

/** Makes what a thread keeps between its exchanges; null when it keeps nothing. */
void* clientOpen(const struct Task* task);
/** Performs one exchange over a connection of its own; false when it failed. */
bool clientExchange(void* state, const struct Task* task, struct Answer* answer);
void clientClose(void* state);
const char* clientVersion(void);

#ifdef __cplusplus
}
#endif
