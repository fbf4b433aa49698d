// The BIO through which OpenSSL does its I/O. Its callbacks move bytes through an object of the
// environment that is kept in the BIO's ex data. None of them marks a retry: a 0 is the end or a
// failure.

#include "net/http/tls/stream_bio.hpp"

#include <algorithm>
#include <cstring>

#include <openssl/bio.h>
#include <openssl/crypto.h>

#include "platform/runtime/thread.hpp"

#include "net/http/http.hpp"
#include "net/http/transport/log.hpp"

namespace Libraries::Networks::HTTP::Utils {
namespace {

using Client::ErrNullArgument;
using Client::ErrTransfer;

// A source or sink that stands for a connection; such a method's number carries both marks.
constexpr int MethodType = BIO_TYPE_SOURCE_SINK | BIO_TYPE_DESCRIPTOR;
static_assert(MethodType == 0x500);
constexpr int TransferFlags = 0xF;  // read, write, special, retry
constexpr std::uint64_t LineBufferSize = 1024;

OnceFlag methodMade;
BIO_METHOD* streamBioMethod = nullptr;
int instanceIndex = -1;
int bufferIndex = -1;

void logFailure(std::string_view text) {
    if (LogRecord record{Channel::OpenSslBio, Level::Failure}) {
        record << text;
    }
}

void warnWithCode(std::string_view text, std::uint32_t code) {
    if (LogRecord record{Channel::OpenSslBio, Level::Warning}) {
        record << text << hexDec(code);
    }
}

/// What `bioGets` has read ahead: `length` unread bytes from index `start`.
struct LineBuffer {
    char* data;
    std::uint64_t length;
    std::uint64_t start;
};

LineBuffer* makeLineBuffer() {
    auto* const buffer = static_cast<LineBuffer*>(Heap::alloc(sizeof(LineBuffer), Heap::Object));
    buffer->data = static_cast<char*>(Heap::alloc(LineBufferSize, Heap::Array));
    buffer->length = 0;
    buffer->start = 0;
    return buffer;
}

void destroy(LineBuffer* buffer) {
    Heap::free(buffer->data, Heap::Array);
    Heap::free(buffer, Heap::Object);
}

LineBuffer* lineBufferOf(BIO* bio) {
    return static_cast<LineBuffer*>(BIO_get_ex_data(bio, bufferIndex));
}

Ref<RefCount> boundInstance(BIO* bio) {
    Ref<RefCount> instance(static_cast<RefCount*>(BIO_get_ex_data(bio, instanceIndex)));
    if (!instance) {
        logFailure("BIO has no instance associated with it");
    }
    return instance;
}

Ref<Interfaces::Stream> boundStream(BIO* bio) {
    Ref<Interfaces::Stream> stream = boundInstance(bio).as<Interfaces::Stream>();
    if (!stream) {
        logFailure("BIO has no stream associated with it");
    }
    return stream;
}

int bioCreate(BIO* bio) {
    BIO_set_init(bio, 1);
    return 1;
}

// The bound object and the line buffer are released with the ex data.
int bioDestroy(BIO*) {
    return 1;
}

int bioRead(BIO* bio, char* buffer, int length) {
    const Ref<RefCount> instance = boundInstance(bio);
    if (!instance || buffer == nullptr || length <= 0) {
        return 0;
    }
    const Ref<Socket> socket = instance.as<Socket>();
    const Ref<Interfaces::Stream> stream = socket ? nullptr : instance.as<Interfaces::Stream>();
    if (!socket && !stream) {
        return 0;
    }
    BIO_clear_flags(bio, TransferFlags);
    const auto size = static_cast<std::uint64_t>(length);
    const TransferBuffer target = TransferBuffer::plain(buffer);
    const auto count = static_cast<int>(socket ? socket->receive(target, size, 0)
                                               : stream->read(target, size, NoTimeout));
    if (count != 0) {
        return count;
    }
    const std::uint32_t code = Error::get();
    if (!socket) {
        warnWithCode("Read nothing from stream for BIO; error: ", code);
    } else if (code != ErrEndOfStream) {
        warnWithCode("Read nothing from socket for BIO; error: ", code);
    }
    return 0;
}

int bioWrite(BIO* bio, const char* buffer, int length) {
    const Ref<RefCount> instance = boundInstance(bio);
    if (!instance || buffer == nullptr || length <= 0) {
        return 0;
    }
    const Ref<Socket> socket = instance.as<Socket>();
    const Ref<Interfaces::Stream> stream = socket ? nullptr : instance.as<Interfaces::Stream>();
    if (!socket && !stream) {
        return 0;
    }
    BIO_clear_flags(bio, TransferFlags);
    const auto size = static_cast<std::uint64_t>(length);
    const TransferBuffer source = TransferBuffer::plain(buffer);
    const auto count = static_cast<int>(socket ? socket->send(source, size, 0)
                                               : stream->write(source, size, NoTimeout));
    if (count != 0) {
        return count;
    }
    warnWithCode("Wrote nothing to socket from BIO; error: ", Error::get());
    return 0;
}

/// Moves bytes of the line buffer to `target`, up to and including a line feed.
///
/// @param room  At the most so many; lowered by what was moved. @return Whether a line feed was
///              moved.
bool takeFromBuffer(LineBuffer& buffer, char*& target, std::uint64_t& room) {
    const std::uint64_t available = std::min(room, buffer.length);
    const char* const first = buffer.data + buffer.start;
    const std::uint64_t index = Mem::search8(first, '\n', available);
    const bool found = index != available;
    const std::uint64_t count = found ? index + 1 : available;
    Mem::copy(first, target, count);
    target += count;
    room -= count;
    buffer.start += count;
    buffer.length -= count;
    return found;
}

int bioGets(BIO* bio, char* buffer, int size) {
    const Ref<Interfaces::Stream> stream = boundStream(bio);
    if (!stream || buffer == nullptr || size <= 1) {
        return 0;
    }
    LineBuffer* ahead = lineBufferOf(bio);
    if (ahead == nullptr) {
        ahead = makeLineBuffer();
        // Nothing has been read yet, so that nothing is lost.
        if (BIO_set_ex_data(bio, bufferIndex, ahead) != 1) {
            destroy(ahead);
            *buffer = '\0';
            return 0;
        }
    }
    char* target = buffer;
    auto room = static_cast<std::uint64_t>(size) - 1;
    bool complete = ahead->length > 0 && takeFromBuffer(*ahead, target, room);
    while (!complete && room > 0) {
        ahead->start = 0;
        const std::int64_t count =
            stream->read(TransferBuffer::plain(ahead->data), LineBufferSize, 0xFFFFFFFF);
        ahead->length = count > 0 ? std::min(static_cast<std::uint64_t>(count), LineBufferSize) : 0;
        if (ahead->length == 0) {
            break;
        }
        complete = takeFromBuffer(*ahead, target, room);
    }
    *target = '\0';
    return static_cast<int>(target - buffer);
}

int bioPuts(BIO* bio, const char* text) {
    const Ref<Interfaces::Stream> stream = boundStream(bio);
    if (!stream || text == nullptr) {
        return 0;
    }
    return static_cast<int>(
        stream->write(TransferBuffer::plain(text), std::strlen(text), NoTimeout));
}

long reset(BIO* bio, Interfaces::Stripe* stripe, long position) {
    if (LineBuffer* const ahead = lineBufferOf(bio)) {
        ahead->length = 0;
        ahead->start = 0;
    }
    if (stripe == nullptr) {
        return 1;
    }
    const auto wanted = static_cast<std::uint64_t>(position);
    return stripe->setPosition(wanted) == wanted ? 1 : 0;
}

long bioCtrl(BIO* bio, int command, long argument, void*) {
    const Ref<RefCount> instance = boundInstance(bio);
    if (!instance) {
        return -1;
    }
    const Ref<Interfaces::Stripe> stripe = instance.as<Interfaces::Stripe>();
    switch (command) {
        case BIO_CTRL_RESET:
        case BIO_C_FILE_SEEK:
            return reset(bio, stripe.get(), argument);
        case BIO_CTRL_EOF:
            return stripe && stripe->position() >= stripe->length() ? 1 : 0;
        case BIO_CTRL_INFO:
        case BIO_C_FILE_TELL:
            return stripe ? static_cast<long>(stripe->position()) : 0;
        case BIO_CTRL_PUSH:
        case BIO_CTRL_POP:
        case BIO_CTRL_FLUSH:
            return 1;
        case BIO_CTRL_GET_KTLS_SEND:
        case BIO_CTRL_GET_KTLS_RECV:
            // An OpenSSL that knows kernel TLS asks for it several times a record: an answer, not a warning.
            return 0;
        default:
            break;
    }
    if (LogRecord record{Channel::OpenSslBio, Level::Warning}) {
        record << "Unsupported BIO control " << hexDec(std::int32_t{command}) << " with args "
               << hexDec(std::int64_t{argument});
    }
    return 0;
}

long bioCallbackCtrl(BIO* bio, int command, BIO_info_cb*) {
    if (LogRecord record{Channel::OpenSslBio, Level::Trace}) {
        record << "Got BIO callback command " << hexDec(std::int32_t{command});
    }
    return boundInstance(bio) ? 0 : -1;
}

int duplicateInstance(CRYPTO_EX_DATA*, const CRYPTO_EX_DATA*, void** slot, int, long, void*) {
    if (*slot != nullptr) {
        static_cast<RefCount*>(*slot)->addReference();  // owned by the copy of the BIO
    }
    return 1;
}

void freeInstance(void*, void* instance, CRYPTO_EX_DATA*, int, long, void*) {
    if (instance != nullptr) {
        static_cast<RefCount*>(instance)->releaseReference();
    }
}

int duplicateBuffer(CRYPTO_EX_DATA*, const CRYPTO_EX_DATA*, void** slot, int, long, void*) {
    const auto* const source = static_cast<const LineBuffer*>(*slot);
    LineBuffer* copy = nullptr;
    if (source != nullptr && source->length > 0) {
        copy = makeLineBuffer();
        Mem::copy(source->data + source->start, copy->data, source->length);
        copy->length = source->length;
    }
    *slot = copy;
    return 1;
}

void freeBuffer(void*, void* slot, CRYPTO_EX_DATA*, int, long, void*) {
    if (auto* const buffer = static_cast<LineBuffer*>(slot)) {
        destroy(buffer);
    }
}

void makeMethod() {
    streamBioMethod = BIO_meth_new(BIO_get_new_index() | MethodType, "vornik_bio_method");
    if (streamBioMethod == nullptr) {
        logFailure("Failed to create BIO methods");
        return;
    }
    BIO_meth_set_create(streamBioMethod, bioCreate);
    BIO_meth_set_destroy(streamBioMethod, bioDestroy);
    BIO_meth_set_ctrl(streamBioMethod, bioCtrl);
    BIO_meth_set_callback_ctrl(streamBioMethod, bioCallbackCtrl);
    BIO_meth_set_write(streamBioMethod, bioWrite);
    BIO_meth_set_read(streamBioMethod, bioRead);
    BIO_meth_set_puts(streamBioMethod, bioPuts);
    BIO_meth_set_gets(streamBioMethod, bioGets);

    instanceIndex = CRYPTO_get_ex_new_index(CRYPTO_EX_INDEX_BIO, 0, nullptr, nullptr,
                                            duplicateInstance, freeInstance);
    if (instanceIndex < 0) {
        logFailure("Failed to create index for RefCount data");
        return;
    }
    bufferIndex = CRYPTO_get_ex_new_index(CRYPTO_EX_INDEX_BIO, 0, nullptr, nullptr, duplicateBuffer,
                                          freeBuffer);
    if (bufferIndex < 0) {
        logFailure("Failed to create index for buffer");
    }
}

}  // namespace

bool ensureBioMethod() {
    InitCode::_do_call_once(methodMade, makeMethod);
    return streamBioMethod != nullptr && instanceIndex >= 0 && bufferIndex >= 0;
}

BioPtr createBioOver(RefCount& object) {
    if (!ensureBioMethod()) {
        Error::set(ErrBioMethod);
        return nullptr;
    }
    BioPtr bio(BIO_new(streamBioMethod));
    if (!bio) {
        logFailure("Failed to create BIO for socket");
        Error::set(ErrTransfer);
        return nullptr;
    }
    object.addReference();  // owned by the BIO: the free callback of the slot gives it back
    if (BIO_set_ex_data(bio.get(), instanceIndex, &object) == 0) {
        object.releaseReference();
        logFailure("Failed to create BIO for socket");
        Error::set(ErrTransfer);
        return nullptr;
    }
    return bio;
}

BioPtr createStreamBio(const Ref<Socket>& socket) {
    if (!socket) {
        Error::set(ErrNullArgument);
        return nullptr;
    }
    return createBioOver(*socket);
}

}  // namespace Libraries::Networks::HTTP::Utils
