/* The server of the comparison: a process for each processor, one connection after the other in
 * each. It does as little as a server can, so that the clients show.
 *
 *   server      prints its port and serves 127.0.0.1 until it is ended
 *
 *   GET /memory/N    N bytes, all from one block of a megabyte
 *   PUT /upload/N    reads a body; 200 when it had N bytes
 *   GET /head/N      a head of 64 KiB and N fields, then a page
 *   GET /chain/N     N redirects, then a page
 *   GET /cut/N       announces N bytes and sends one less */
#include <arpa/inet.h>
#include <signal.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

enum { Block = 1 << 20, Page = 1024, HeadRoom = 1 << 16 };

static char block[Block];   /* the body: every answer's bytes come from here */
static char answer[Block];  /* a head, and the first bytes of its body */
static char request[Block]; /* also takes the bodies that are read and forgotten */
static unsigned port;

static bool sendAll(int link, const char* bytes, uint64_t size) {
    while (size != 0) {
        const ssize_t count = send(link, bytes, size, MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        bytes += count;
        size -= (uint64_t)count;
    }
    return true;
}

/* Head and first bytes in one call, as a server with a small page does it. */
static void sendBody(int link, int head, uint64_t size) {
    uint64_t sent = size < Page ? size : Page;
    memcpy(answer + head, block, sent);
    bool going = sendAll(link, answer, (uint64_t)head + sent);
    while (going && sent < size) {
        const uint64_t piece = size - sent < Block ? size - sent : Block;
        going = sendAll(link, block, piece);
        sent += piece;
    }
}

static int writeHead(const char* status, uint64_t size, const char* fields) {
    return snprintf(answer, sizeof answer,
                    "HTTP/1.1 %s\r\nContent-Length: %llu\r\nConnection: close\r\n%s\r\n", status,
                    (unsigned long long)size, fields);
}

static void serveHead(int link, unsigned count) {
    static char fields[HeadRoom + 256];
    const unsigned each = HeadRoom / (count != 0 ? count : 1); /* bytes of a field */
    size_t fill = 0;
    for (unsigned i = 0; i < count && fill + each < sizeof fields; ++i) {
        const int name = snprintf(fields + fill, 32, "X-Field-%05u: ", i);
        memset(fields + fill + name, 'v', each - (unsigned)name - 2);
        memcpy(fields + fill + each - 2, "\r\n", 2);
        fill += each;
    }
    fields[fill] = '\0';
    sendBody(link, writeHead("200 OK", Page, fields), Page);
}

static void serveChain(int link, unsigned left) {
    char location[128] = "";
    if (left != 0) {
        snprintf(location, sizeof location, "Location: http://127.0.0.1:%u/chain/%u\r\n", port,
                 left - 1);
    }
    const uint64_t size = left != 0 ? 0 : Page;
    sendBody(link, writeHead(left != 0 ? "302 Found" : "200 OK", size, location), size);
}

static void serveUpload(int link, uint64_t had, uint64_t wanted) {
    static const char go[] = "HTTP/1.1 100 Continue\r\n\r\n";
    const char* const length = strcasestr(request, "\r\nContent-Length:");
    const uint64_t size = length != NULL ? strtoull(length + 17, NULL, 10) : 0;
    if (strcasestr(request, "\r\nExpect: 100-continue") != NULL) {
        sendAll(link, go, sizeof go - 1);
    }
    while (had < size) {
        const ssize_t count = recv(link, request, sizeof request, 0);
        if (count <= 0) {
            return;
        }
        had += (uint64_t)count;
    }
    const bool right = had == wanted && size == wanted;
    sendBody(link, writeHead(right ? "200 OK" : "400 Bad Request", 2, ""), 2);
}

/* Answers how many bytes of a body came behind the head; -1 when no head came. */
static ssize_t readHead(int link) {
    size_t fill = 0;
    for (;;) {
        const ssize_t count = recv(link, request + fill, sizeof request - 1 - fill, 0);
        if (count <= 0) {
            return -1;
        }
        fill += (size_t)count;
        request[fill] = '\0';
        char* const end = strstr(request, "\r\n\r\n");
        if (end != NULL) {
            const ssize_t body = request + fill - (end + 4);
            end[4] = '\0';
            return body;
        }
    }
}

static void serve(int link) {
    char path[16] = "";
    unsigned long long number = 0;
    const ssize_t body = readHead(link);
    if (body < 0 || sscanf(request, "%*s /%15[a-z]/%llu", path, &number) != 2) {
        sendBody(link, writeHead("404 Not Found", 0, ""), 0);
    } else if (strcmp(path, "memory") == 0) {
        sendBody(link, writeHead("200 OK", number, ""), number);
    } else if (strcmp(path, "upload") == 0) {
        serveUpload(link, (uint64_t)body, number);
    } else if (strcmp(path, "head") == 0) {
        serveHead(link, (unsigned)number);
    } else if (strcmp(path, "chain") == 0) {
        serveChain(link, (unsigned)number);
    } else {
        sendBody(link, writeHead("200 OK", number, ""), number - 1);
    }
}

static int listenAnywhere(void) {
    struct sockaddr_in address = {0};
    socklen_t size = sizeof address;
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listener, (const struct sockaddr*)&address, size) != 0 ||
        listen(listener, SOMAXCONN) != 0 ||
        getsockname(listener, (struct sockaddr*)&address, &size) != 0) {
        perror("server");
        exit(1);  // NOLINT(concurrency-mt-unsafe): there are no threads
    }
    port = ntohs(address.sin_port);
    return listener;
}

/* None outlives the program that was started, not even one that it left before it got here. */
static void work(int listener, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        return;
    }
    for (;;) {
        const int link = accept(listener, NULL, NULL);
        if (link >= 0) {
            serve(link);
            close(link);
        }
    }
}

int main(void) {
    const int listener = listenAnywhere();
    const pid_t parent = getpid();
    memset(block, 'x', sizeof block);
    for (long i = sysconf(_SC_NPROCESSORS_ONLN); i > 0; --i) {
        if (fork() == 0) {
            work(listener, parent);
            return 1;
        }
    }
    printf("%u\n", port);
    fflush(stdout);
    wait(NULL);
    return 1; /* a worker ended, which none does by itself */
}
