/* neon, as its reference manual shows it: a new session for each exchange. */
#include <ne_redirect.h>
#include <ne_request.h>
#include <ne_session.h>
#include <ne_socket.h>
#include <ne_ssl.h>
#include <ne_utils.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "harness.h"

enum { PieceSize = 8192 };

struct State { /* of a thread */
    ne_ssl_certificate* authority;
    char* kept;
};

const char* clientVersion(void) {
    return ne_version_string();
}

/* Before the first thread. */
__attribute__((constructor)) static void load(void) {
    ne_sock_init();
}

void* clientOpen(const struct Task* task) {
    struct State* const state = calloc(1, sizeof *state);
    if (task->address.tls) {
        state->authority = ne_ssl_cert_read(task->authority);
    }
    return state;
}

void clientClose(void* pointer) {
    struct State* const state = pointer;
    if (state->authority != NULL) {
        ne_ssl_cert_free(state->authority);
    }
    free(state->kept);
    free(state);
}

static ne_session* makeSession(const struct State* state, const struct Address* to) {
    ne_session* const session =
        ne_session_create(to->tls ? "https" : "http", to->host, (unsigned)atoi(to->port));
    ne_set_session_flag(session, NE_SESSFLAG_PERSIST, 0);
    ne_redirect_register(session);
    if (to->tls) {
        ne_ssl_trust_default_ca(session); /* reads the distribution's bundle */
        ne_ssl_trust_cert(session, state->authority);
    }
    return session;
}

static int receive(ne_request* request, struct State* state, const struct Task* task,
                   struct Answer* answer) {
    char piece[PieceSize];
    size_t room = 0;
    ssize_t count;
    answer->bytes = 0;
    while ((count = ne_read_response_block(request, piece, sizeof piece)) > 0) {
        if (task->job == JobKeep) {
            if (answer->bytes + (size_t)count > room) {
                room = room == 0 ? PieceSize : 2 * room;
                state->kept = realloc(state->kept, room);
            }
            memcpy(state->kept + answer->bytes, piece, (size_t)count);
        }
        answer->bytes += (uint64_t)count;
    }
    answer->kept = state->kept;
    return count < 0 ? NE_ERROR : NE_OK;
}

static uint64_t countFields(ne_request* request) {
    uint64_t count = 0;
    const char *name, *value;
    for (void* place = NULL;
         (place = ne_response_header_iterate(request, place, &name, &value)) != NULL;) {
        ++count;
    }
    return count;
}

static int talk(ne_session* session, struct State* state, const struct Task* task,
                const struct Address* to, struct Answer* answer) {
    const bool upload = task->job == JobUpload;
    ne_request* const request = ne_request_create(session, upload ? "PUT" : "GET", to->path);
    if (upload) {
        ne_set_request_body_buffer(request, task->body, task->size);
    }
    int result = ne_begin_request(request);
    if (result == NE_OK) {
        result = receive(request, state, task, answer);
    }
    if (result == NE_OK) {
        result = ne_end_request(request);
    }
    answer->status = ne_get_status(request)->code;
    answer->fields = countFields(request);
    ne_request_destroy(request);
    return result;
}

static bool nextHop(ne_session* session, struct Address* to) {
    const ne_uri* const target = ne_redirect_location(session);
    char* const url = target != NULL ? ne_uri_unparse(target) : NULL;
    const bool known = url != NULL && splitUrl(url, to);
    free(url);
    return known;
}

bool clientExchange(void* state, const struct Task* task, struct Answer* answer) {
    struct Address to = task->address;
    int result = NE_REDIRECT;
    for (int hops = 0; hops <= MostRedirects && result == NE_REDIRECT; ++hops) {
        ne_session* const session = makeSession(state, &to);
        free(((struct State*)state)->kept);
        ((struct State*)state)->kept = NULL;
        result = talk(session, state, task, &to, answer);
        if (result == NE_REDIRECT && !nextHop(session, &to)) {
            result = NE_ERROR;
        }
        if (result != NE_OK && result != NE_REDIRECT) {
            complain(task->url, ne_get_error(session));
        }
        ne_session_destroy(session);
    }
    return result == NE_OK;
}
