/* The floor: what no client can do without. Plain system calls, OpenSSL for https, a buffer of a
 * megabyte, and no more understanding of a response than the checks need. */
#include <arpa/inet.h>
#include <netdb.h>
#include <openssl/ssl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include "harness.h"

struct State { /* of a thread */
    char* buffer;
    char* kept;
};

struct Link { /* one connection */
    int socket;
    SSL_CTX* context;
    SSL* ssl;
};

struct Head { /* a response, as far as its head has been read */
    size_t size;
    size_t fill; /* what the buffer holds, the first bytes of the body included */
    uint64_t length;
    char location[sizeof(struct Address)];
};

const char* clientVersion(void) {
    return OpenSSL_version(OPENSSL_VERSION);
}

void* clientOpen(const struct Task* task) {
    struct State* const state = calloc(1, sizeof *state);
    (void)task;
    state->buffer = malloc(Megabyte);
    return state;
}

void clientClose(void* pointer) {
    struct State* const state = pointer;
    free(state->buffer);
    free(state->kept);
    free(state);
}

static int dial(const struct Address* to) {
    struct sockaddr_in address = {0};
    address.sin_family = AF_INET;
    address.sin_port = htons((uint16_t)atoi(to->port));
    const char* const host = strcmp(to->host, "localhost") == 0 ? "127.0.0.1" : to->host;
    if (inet_pton(AF_INET, host, &address.sin_addr) != 1) {
        complain(to->host, "not an address");
        return -1;
    }
    const int link = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (link >= 0 && connect(link, (const struct sockaddr*)&address, sizeof address) == 0) {
        return link;
    }
    if (link >= 0) {
        close(link);
    }
    complain("connect", to->port);
    return -1;
}

/* A context for each connection: the bundle is read anew every time. */
static bool startTls(struct Link* link, const struct Task* task, const struct Address* to) {
    link->context = SSL_CTX_new(TLS_client_method());
    SSL_CTX_set_verify(link->context, SSL_VERIFY_PEER, NULL);
    if (SSL_CTX_load_verify_locations(link->context, task->bundle, NULL) != 1) {
        return complain("bundle", task->bundle);
    }
    link->ssl = SSL_new(link->context);
    SSL_set1_host(link->ssl, to->host);
    SSL_set_tlsext_host_name(link->ssl, to->host);
    SSL_set_fd(link->ssl, link->socket);
    return SSL_connect(link->ssl) == 1 || complain("TLS", "the handshake failed");
}

static void hangUp(struct Link* link) {
    SSL_free(link->ssl);
    SSL_CTX_free(link->context);
    close(link->socket);
}

/* The kernel drops the body unread, where the program is built so: nothing can be faster. */
#ifdef COMPARE_UNREAD
enum { BodyFlags = MSG_TRUNC };
#else
enum { BodyFlags = 0 };
#endif

static ssize_t readSome(const struct Link* link, char* place, size_t room, int flags) {
    if (link->ssl != NULL) {
        const int count = SSL_read(link->ssl, place, (int)room);
        return count > 0 ? count : 0;
    }
    return recv(link->socket, place, room, flags);
}

static bool writeAll(const struct Link* link, const char* bytes, uint64_t size) {
    while (size != 0) {
        const size_t piece = size < Megabyte ? (size_t)size : Megabyte;
        const ssize_t count = link->ssl != NULL ? SSL_write(link->ssl, bytes, (int)piece)
                                                : send(link->socket, bytes, piece, MSG_NOSIGNAL);
        if (count <= 0) {
            return complain("send", "the server is gone");
        }
        bytes += count;
        size -= (uint64_t)count;
    }
    return true;
}

static bool sendRequest(const struct Link* link, const struct Task* task,
                        const struct Address* to) {
    char text[512];
    const bool upload = task->job == JobUpload;
    int size = snprintf(text, sizeof text, "%s %s HTTP/1.0\r\nHost: %s\r\nUser-Agent: floor\r\n",
                        upload ? "PUT" : "GET", to->path, to->host);
    size += upload ? snprintf(text + size, sizeof text - (size_t)size,
                              "Content-Length: %llu\r\n\r\n", (unsigned long long)task->size)
                   : snprintf(text + size, sizeof text - (size_t)size, "\r\n");
    return writeAll(link, text, (uint64_t)size) &&
           (!upload || writeAll(link, task->body, task->size));
}

/* Looks at each line; only the two fields that steer the exchange are read. */
static void readFields(char* text, struct Head* head, struct Answer* answer) {
    char* line = strstr(text, "\r\n") + 2;
    answer->status = strtol(text + sizeof "HTTP/1.1", NULL, 10);
    answer->fields = 0;
    head->length = 0;
    for (char* end; (end = strstr(line, "\r\n")) != line; line = end + 2) {
        ++answer->fields;
        if (strncasecmp(line, "Content-Length:", 15) == 0) {
            head->length = strtoull(line + 15, NULL, 10);
        } else if (strncasecmp(line, "Location: ", 10) == 0) {
            (void)sscanf(line + 10, "%300[^\r]", head->location);
        }
    }
}

static bool receiveHead(const struct Link* link, char* buffer, struct Head* head,
                        struct Answer* answer) {
    head->fill = 0;
    head->location[0] = '\0';
    for (;;) {
        const ssize_t count = readSome(link, buffer + head->fill, Megabyte - 1 - head->fill, 0);
        if (count <= 0) {
            return complain("head", "the connection ended in it");
        }
        const size_t from = head->fill < 3 ? 0 : head->fill - 3;
        head->fill += (size_t)count;
        char* const end = memmem(buffer + from, head->fill - from, "\r\n\r\n", 4);
        if (end != NULL) {
            const char first = end[4]; /* of the body; the text functions need an end */
            head->size = (size_t)(end - buffer) + 4;
            end[4] = '\0';
            readFields(buffer, head, answer);
            end[4] = first;
            return true;
        }
    }
}

static bool receiveBody(const struct Link* link, struct State* state, const struct Head* head,
                        bool keep, struct Answer* answer) {
    answer->bytes = head->fill - head->size;
    if (keep && head->length != 0) {
        free(state->kept);
        state->kept = malloc(head->length);
        memcpy(state->kept, state->buffer + head->size, answer->bytes);
        answer->kept = state->kept;
    }
    while (answer->bytes < head->length) {
        const uint64_t left = head->length - answer->bytes;
        char* const place = keep ? state->kept + answer->bytes : state->buffer;
        const ssize_t count =
            readSome(link, place, left < Megabyte ? (size_t)left : Megabyte, BodyFlags);
        if (count <= 0) {
            return complain("body", "the connection ended in it");
        }
        answer->bytes += (uint64_t)count;
    }
    return true;
}

static bool talk(const struct Link* link, struct State* state, const struct Task* task,
                 const struct Address* to, struct Head* head, struct Answer* answer) {
    return sendRequest(link, task, to) && receiveHead(link, state->buffer, head, answer) &&
           receiveBody(link, state, head, task->job == JobKeep, answer);
}

static bool hop(struct State* state, const struct Task* task, const struct Address* to,
                struct Head* head, struct Answer* answer) {
    struct Link link = {dial(to), NULL, NULL};
    if (link.socket < 0) {
        return false;
    }
    const bool done =
        (!to->tls || startTls(&link, task, to)) && talk(&link, state, task, to, head, answer);
    hangUp(&link);
    return done;
}

bool clientExchange(void* state, const struct Task* task, struct Answer* answer) {
    struct Address to = task->address;
    struct Head head = {0};
    for (int hops = 0; hops <= MostRedirects; ++hops) {
        if (!hop(state, task, &to, &head, answer)) {
            return false;
        }
        if (answer->status / 100 != 3) {
            return true;
        }
        if (!splitUrl(head.location, &to)) {
            return complain("redirect", head.location);
        }
    }
    return complain("redirect", "too many");
}
