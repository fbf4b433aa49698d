/// @file
/// The HTTP client: requests, responses, and what goes with them.
#pragma once

#include <concepts>
#include <cstdint>
#include <map>
#include <string_view>
#include <utility>

#include "platform/runtime/containers.hpp"
#include "platform/runtime/error.hpp"
#include "platform/runtime/export.hpp"
#include "platform/runtime/object.hpp"
#include "platform/runtime/string.hpp"
#include "platform/streams/streams.hpp"

/// The HTTP client: describe a request, perform it on the calling thread, get a response.
///
/// Failures are null or false plus the thread's error code (`Error::get`); nothing throws, and
/// nothing that the application supplies may throw. What went wrong in detail stands in the system
/// log, on the channels "HTTP Client", "HTTP Utils" and "OpenSSL.BIO".
namespace Libraries::Networks::HTTP::Client {

/// The cancel query asked to stop an upload or a download.
inline constexpr std::uint32_t ErrCancelled = 0x8442;
/// Connection, TLS, send, receive, response head or redirect failed.
inline constexpr std::uint32_t ErrTransfer = 0x8443;
/// A required argument is null.
inline constexpr std::uint32_t ErrNullArgument = 0x8445;
/// Malformed URL, unusable port, missing host or path, refused or unsupported protocol.
inline constexpr std::uint32_t ErrInvalidArgument = 0x8446;

/// The order of header-field names: null first, then that of their lower-cased texts (RFC 9110,
/// section 5.1: names are case-insensitive).
struct HeaderNameLess {
    using is_transparent = void;  ///< Lookups need no `Ref<String>`.
    /// @param left   A name, or null.
    /// @param right  Another one, or null.
    /// @return Whether the left one comes first.
    bool operator()(const Ref<String>& left, const Ref<String>& right) const noexcept {
        if (!left || !right) {
            return !left && right;
        }
        return String::compareLowered(left->view(), right->view()) < 0;
    }
    /// @copydoc operator()(const Ref<String>&,const Ref<String>&) const
    template <TextLike Text>
    bool operator()(const Ref<String>& left, const Text& right) const noexcept {
        return !left || String::compareLowered(left->view(), viewOf(right)) < 0;
    }
    /// @copydoc operator()(const Ref<String>&,const Ref<String>&) const
    template <TextLike Text>
    bool operator()(const Text& left, const Ref<String>& right) const noexcept {
        return right && String::compareLowered(viewOf(left), right->view()) < 0;
    }
};

/// Header fields by name. A name keeps the letter case in which it was first inserted; lookups take
/// a string or a plain text, in any letter case.
using HeaderFields = std::map<Ref<String>, Ref<String>, HeaderNameLess,
                              HeapAllocator<std::pair<const Ref<String>, Ref<String>>>>;

/// Told how far an upload or a download is.
///
/// @threads Called on the thread that performs the request.
class VORNIK_EXPORT ProgressCallback : public virtual RefCount {
public:
    /// Told at the start, after each piece of a body, and at the end of the exchange.
    ///
    /// @param fraction  The fraction done, from 0.0 to 1.0.
    /// @threads Called on the thread that performs the request; must not throw.
    virtual void progress(double fraction) = 0;
};

/// Asked whether a transfer should stop.
///
/// @threads Called on the thread that performs the request.
class VORNIK_EXPORT CancelQuery : public virtual RefCount {
public:
    /// A value of an answer or of an argument.
    struct Value {
        static constexpr std::uint32_t Boolean = 1;  ///< The kind of a truth.

        std::uint32_t kind = 0;     ///< What the payload is.
        std::uint64_t payload = 0;  ///< Of a truth: 0 is false.
    };
    using Values = HeapVector<Value>;  ///< An answer, or arguments.

    /// Answers by filling `result`, which arrives empty: exactly one value of kind `Value::Boolean`
    /// with a payload other than 0 stops the transfer, everything else lets it go on.
    ///
    /// @param result     Takes the answer.
    /// @param argument   The request's cancel argument, never 0.
    /// @param arguments  Always empty.
    /// @threads Called on the thread that performs the request, after a piece of a body was sent or
    ///          delivered; must not throw.
    virtual void invoke(Values& result, std::uint64_t argument, const Values& arguments) = 0;
};

/// Tells a function what a progress callback is told.
///
/// @tparam Function  Takes the fraction; what it answers is left.
/// @threads The function is called on the thread that performs the request.
template <std::invocable<double> Function>
class ProgressFunction final : public Object, public ProgressCallback {
public:
    /// @param tell  Is moved in, and lives as long as this object.
    explicit ProgressFunction(Function tell) : tell_(std::move(tell)) {}
    /// Calls the function. An exception of it ends the program.
    ///
    /// @param fraction  The fraction done, from 0.0 to 1.0.
    void progress(double fraction) noexcept override { (void)tell_(fraction); }

private:
    Function tell_;
};

/// Answers a cancel query by a function.
///
/// @tparam Function  Takes nothing; true stops the exchange.
/// @threads The function is called on the thread that performs the request.
template <std::predicate Function>
class CancelFunction final : public Object, public CancelQuery {
public:
    /// @param query  Is moved in, and lives as long as this object.
    explicit CancelFunction(Function query) : query_(std::move(query)) {}
    /// Calls the function. An exception of it ends the program.
    ///
    /// @param result  Takes its answer.
    void invoke(Values& result, std::uint64_t, const Values&) noexcept override {
        result.push_back({Value::Boolean, query_() ? 1U : 0U});
    }

private:
    Function query_;
};

/// What a server answered; immutable.
///
/// The order of the operations is binary interface.
///
/// @threads Immutable: any number of threads may read one response.
class VORNIK_EXPORT Response : public virtual RefCount {
public:
    /// Answers the standard description of a status code. It never fails.
    ///
    /// @param code  Any number.
    /// @return A new string, "Unknown Error" for a code without a description.
    /// @threads Any thread.
    static Ref<String> descriptionForStatusCode(unsigned long long code);

    /// The base of an implementation; it has no state.
    Response() noexcept;
    /// The base of a copy.
    ///
    /// @param other  Is left as it is.
    Response(const Response& other) noexcept;
    /// The base of a copy.
    ///
    /// @param other  Is left as it is.
    Response(Response&& other) noexcept;
    /// Changes nothing: there is no state.
    ///
    /// @param other  Is left as it is.
    /// @return The response itself.
    Response& operator=(const Response& other) noexcept;
    /// Changes nothing: there is no state.
    ///
    /// @param other  Is left as it is.
    /// @return The response itself.
    Response& operator=(Response&& other) noexcept;

    /// Answers the status code (RFC 9110, section 15).
    ///
    /// @return 400 when the status line held no number in its place, 0 when the connection ended
    ///         before a status line was complete; a number of any size otherwise.
    [[nodiscard]] virtual std::uint64_t statusCode() const = 0;
    /// @return The reason phrase (RFC 9112, section 4) as the server sent it, or null.
    [[nodiscard]] virtual Ref<String> reasonPhrase() const = 0;
    /// Answers the header fields (RFC 9110, section 5). Of a repeated name the first one stays.
    ///
    /// @return Borrowed, valid as long as the response. Names and values are the server's octets.
    [[nodiscard]] virtual const HeaderFields& headerFields() const = 0;
    /// Answers the address of the body, `bodySize` bytes long.
    ///
    /// @return Borrowed, valid as long as the response. Null when the body went to the caller's
    ///         stream or is empty.
    [[nodiscard]] virtual const void* bodyData() const = 0;
    /// @return The number of body bytes that were delivered, wherever they went.
    [[nodiscard]] virtual std::uint64_t bodySize() const = 0;
    /// @return Whether any response of the exchange had a status code from 300 to 399.
    [[nodiscard]] virtual bool wasRedirected() const = 0;
    /// Answers the URL that answered. With `Request::Flag::NoRedirect` and a redirect: its target.
    ///
    /// @return Of a response with a status from 300 to 399 and no Location the URL before it in the
    ///         chain, null when it was the first.
    [[nodiscard]] virtual Ref<String> url() const = 0;

    /// Finds a header field.
    ///
    /// @param name  In any letter case.
    /// @return Its value, or null when there is none.
    [[nodiscard]] Ref<String> headerField(std::string_view name) const {
        const auto found = headerFields().find(name);
        return found != headerFields().end() ? found->second : nullptr;
    }
    /// @return The body that the response keeps, valid as long as the response; empty when it went
    ///         to the caller's stream.
    [[nodiscard]] std::string_view body() const noexcept {
        const auto* const data = static_cast<const char*>(bodyData());
        return data != nullptr ? std::string_view(data, bodySize()) : std::string_view();
    }

    // Takes two places in the table of operations, behind those above: an operation that a later
    // version adds is declared below this line, at the end.
    ~Response() override = default;
};

/// One HTTP or HTTPS exchange: configure it, then perform it, any number of times.
///
/// Every setter replaces the previous value and answers the request again, so that calls chain; a
/// null reference clears a setting. Null from a setter means failure. What is set is kept by
/// reference until it is replaced or the request ends. The order of the operations is binary
/// interface.
///
/// @threads One thread at a time per request; distinct requests are independent.
class VORNIK_EXPORT Request : public virtual RefCount {
public:
    /// Behaviour of a request, fixed at its creation.
    enum class Flag : std::uint32_t {
        DisallowHttp = 0,        ///< Refuse "http", on every hop.
        DisallowHttps = 1,       ///< Refuse "https", on every hop.
        NoDefaultUserAgent = 2,  ///< Add no "User-Agent" of the library's own.
        SslIgnoreInvalid = 3,    ///< Forgive every certificate error but those of 6 and 7: another
                                 ///< host's name and an unknown issuer, too.
        NoRedirect = 4,          ///< A redirect is the result; it is not followed.
        Verbose = 5,             ///< Write the trace records of this request's exchange.
        SslIgnoreValidityPeriod = 6,  ///< Forgive certificates that are not yet or no longer valid.
        SslIgnoreUntrusted = 7,       ///< Forgive self-signed certificates, but no unknown issuer.
    };

    /// Which protocol an exchange speaks.
    enum class Protocol : std::uint32_t {
        Auto = 0,   ///< That of the URL; without a URL, inferred from the port.
        Http = 1,   ///< Always "http".
        Https = 2,  ///< Always "https".
    };

    /// Request methods (RFC 9110, section 9; PATCH: RFC 5789).
    enum class Method : std::uint32_t {
        Get = 0,      ///< "GET".
        Head = 1,     ///< "HEAD": a Content-Length counts all the same, against RFC 9112, 6.3.
        Post = 2,     ///< "POST".
        Put = 3,      ///< "PUT".
        Delete = 4,   ///< "DELETE".
        Connect = 5,  ///< "CONNECT": sent as any other, no tunnel follows.
        Options = 6,  ///< "OPTIONS".
        Trace = 7,    ///< "TRACE".
        Patch = 8,    ///< "PATCH".
    };

    /// HTTP versions of the request line.
    enum class Version : std::uint32_t {
        Http10 = 0,  ///< HTTP/1.0 (RFC 1945), the default.
        Http11 = 1,  ///< HTTP/1.1 (RFC 9112).
    };

    /// What `splitUrl` leaves together.
    enum class SplitFlag : std::uint32_t {
        KeepPortInHost = 0,  ///< The host keeps the port; the port is 0.
        KeepPathInHost = 1,  ///< The host keeps the URL's path; the path is null.
    };

    /// Makes a request with every setting empty, or what the enumerations call 0.
    ///
    /// @param flags  Hold for the life of the request.
    /// @return A new request, never null.
    /// @threads Any thread.
    static Ref<Request> create(Definitions::Set<Flag> flags);
    /// As above, without flags.
    ///
    /// @return A new request, never null.
    static Ref<Request> create() { return create({}); }

    /// Splits a URL (RFC 3986, section 3) into its parts, textually: "protocol://host:port/path",
    /// the path with query and fragment. No character is checked and nothing is decoded.
    ///
    /// @param url       What is split.
    /// @param protocol  Takes the text before "://", lower-cased.
    /// @param host      Takes the text up to the path, without the port. May be empty.
    /// @param port      Takes the number behind the last colon; 0 when there is none.
    /// @param path      Takes the rest from the first "/" on; "/" when there is none.
    /// @param flags     What stays in the host.
    /// @return False with `ErrNullArgument` for a null URL, `ErrInvalidArgument` for one that is
    ///         empty, has no "://", or whose port is not a number up to 65535. The outputs keep
    ///         what was found before.
    /// @threads Any thread.
    static bool splitUrl(Ref<String> url, Ref<String>& protocol, Ref<String>& host,
                         unsigned short& port, Ref<String>& path,
                         Definitions::Set<SplitFlag, unsigned int,
                                          Definitions::EnumSeqConvert<SplitFlag, unsigned int>>
                             flags);
    /// Escapes a text for use in a URL (RFC 3986, section 2.1): everything but the visible ASCII
    /// characters, and of those "%", "+", ",", "/", ":", "?" and the backslash, as UTF-8 octets.
    ///
    /// @param text  Not yet escaped: a "%" is escaped again.
    /// @return The text itself when nothing needs an escape; null with `ErrNullArgument` for null.
    /// @threads Any thread.
    static Ref<String> httpEncode(Ref<String> text);
    /// Turns escapes (RFC 3986, section 2.1) back into characters, and "+" into a blank behind the
    /// first "%". What is no complete escape or no UTF-8 stays as it stands.
    ///
    /// @param text  Of a URL.
    /// @return The text itself when it holds no "%"; null with `ErrNullArgument` for null.
    /// @threads Any thread.
    static Ref<String> httpDecode(Ref<String> text);
    /// Answers the "User-Agent" text of requests that set none (RFC 9110, section 10.1.5).
    ///
    /// @return A string, never null.
    /// @threads Any thread.
    static Ref<String> defaultUserAgent();
    /// Tells whether a URL's server accepts a TCP connection right now. No byte is sent, and no TLS
    /// is spoken even for "https".
    ///
    /// @param url       Of whom; only protocol, host and port count.
    /// @param reserved  Has no effect.
    /// @return False with the error code set.
    /// @errors `ErrNullArgument`, `ErrInvalidArgument`, or that of the network service: 0x20000 +
    ///         errno, 0x30000 + the resolver's code.
    /// @blocks Until the name is resolved and the connection is made or refused.
    /// @threads Any thread.
    static bool canConnect(Ref<String> url, unsigned int reserved);

    /// The base of an implementation; it has no state.
    Request() noexcept;
    /// The base of a copy.
    ///
    /// @param other  Is left as it is.
    Request(const Request& other) noexcept;
    /// The base of a copy.
    ///
    /// @param other  Is left as it is.
    Request(Request&& other) noexcept;
    /// Changes nothing: there is no state.
    ///
    /// @param other  Is left as it is.
    /// @return The request itself.
    Request& operator=(const Request& other) noexcept;
    /// Changes nothing: there is no state.
    ///
    /// @param other  Is left as it is.
    /// @return The request itself.
    Request& operator=(Request&& other) noexcept;

    /// Sets the URL. User information in it is not understood: it counts as host and port.
    ///
    /// @param url  "http://host:port/path?query" or the same with "https".
    /// @return The request itself.
    virtual Ref<Request> setUrl(Ref<String> url) = 0;
    /// Sets which protocol to speak, whatever the URL says.
    ///
    /// @param protocol  `Protocol::Auto`: that of the URL.
    /// @return The request itself.
    virtual Ref<Request> setProtocol(Protocol protocol) = 0;
    /// Sets the host to connect to, on every hop, in place of the URL's.
    ///
    /// @param host  A name or an address, without a port.
    /// @return The request itself.
    virtual Ref<Request> setHost(Ref<String> host) = 0;
    /// Sets the port to connect to, on every hop, in place of the URL's.
    ///
    /// @param port  0: the URL's or the protocol's.
    /// @return The request itself.
    virtual Ref<Request> setPort(unsigned short port) = 0;
    /// Sets path and query, on every hop, in place of the URL's.
    ///
    /// @param path  Not yet escaped, from the first "/" on.
    /// @return The request itself.
    virtual Ref<Request> setPath(Ref<String> path) = 0;
    /// Sets one header field, as given. The exchange sets "Host" (RFC 9110, section 7.2, but
    /// without the port), "Content-Length" (section 8.6) and "User-Agent" (section 10.1.5) itself,
    /// and they stay in the request. Fields go to every hop of a redirect chain, whichever server
    /// it leads to.
    ///
    /// @param name   Not checked: a line end in it would end the line.
    /// @param value  Not checked either; null removes the field.
    /// @return The request itself; null with `ErrNullArgument` for a null name.
    virtual Ref<Request> setHeaderField(Ref<String> name, Ref<String> value) = 0;
    /// Sets every field of a map, as `setHeaderField` does.
    ///
    /// @param fields   Are copied.
    /// @param replace  Whether to remove all fields first.
    /// @return The request itself; null with `ErrInvalidArgument`, and nothing set, when the map
    ///         holds a null name.
    virtual Ref<Request> setHeaderFields(const HeaderFields& fields, bool replace) = 0;
    /// Sets the source of the request body: it is read from its position to its end while it is
    /// sent, once per hop.
    ///
    /// @param body  Must stand at its start again for a further hop or exchange, else that one
    ///              sends only the rest, or announces a body and sends none. Those of the platform
    ///              do once they are read to their end; after an exchange that failed or was
    ///              cancelled, call `body->setPosition(0)`. Null or an empty body leaves the
    ///              Content-Length of an exchange before: `setHeaderField("Content-Length", nullptr)`
    ///              removes it.
    /// @return The request itself.
    virtual Ref<Request> setBody(Ref<Interfaces::Stripe> body) = 0;
    /// Sets the method by its token, which is sent unchanged.
    ///
    /// @param token  Not checked; null: "GET".
    /// @return The request itself.
    virtual Ref<Request> setMethod(Ref<String> token) = 0;
    /// Sets the method.
    ///
    /// @param method  A value that is none clears it.
    /// @return The request itself.
    virtual Ref<Request> setMethod(Method method) = 0;
    /// Sets the HTTP version of the request line.
    ///
    /// @param version  Changes nothing but that line.
    /// @return The request itself.
    virtual Ref<Request> setVersion(Version version) = 0;
    /// Sets the object that is asked, after every piece of a body, whether to stop.
    ///
    /// @param query  Null: nobody is asked.
    /// @return The request itself.
    virtual Ref<Request> setCancelQuery(Ref<CancelQuery> query) = 0;
    /// Sets the argument that the query is given.
    ///
    /// @param argument  0, the initial value, means that the query is never asked.
    /// @return The request itself.
    virtual Ref<Request> setCancelArgument(std::uint64_t argument) = 0;
    /// Sets the object that is told the download's progress.
    ///
    /// @param callback  Null: nobody is told.
    /// @return The request itself.
    virtual Ref<Request> setDownloadProgressCallback(Ref<ProgressCallback> callback) = 0;
    /// Sets the object that is told the upload's progress.
    ///
    /// @param callback  Null: nobody is told.
    /// @return The request itself.
    virtual Ref<Request> setUploadProgressCallback(Ref<ProgressCallback> callback) = 0;
    /// Runs one exchange and answers the server's response.
    ///
    /// Redirects (RFC 9110, section 15.4) are followed, with the same method, unless the request
    /// was created with `Flag::NoRedirect`; every hop opens a connection of its own and closes it
    /// before this operation returns.
    ///
    /// @param output    Takes the body as it arrives; borrowed for the call. Null: the response
    ///                  keeps the body.
    /// @param reserved  Has no effect.
    /// @return The response, or null.
    /// @errors `ErrInvalidArgument`: no usable URL, host or path, or a protocol that the flags
    ///         refuse. `ErrCancelled`: the cancel query said so. `ErrTransfer`: any failure on the
    ///         way; what was written to `output` before it stays there.
    /// @blocks Until the exchange has ended or a limit of the network service is met.
    /// @threads One thread at a time per request. Callbacks run on the calling thread and must not
    ///          throw: an exception of theirs, or of a stream, ends the program.
    virtual Ref<Response> perform(Ref<Interfaces::Stream> output, unsigned int reserved) = 0;
    /// As above with a null output stream: the response keeps the body.
    ///
    /// @param reserved  Has no effect.
    /// @return The response, or null.
    virtual Ref<Response> perform(unsigned int reserved) = 0;
    /// As above; the response keeps the body unless a stream is given.
    ///
    /// @param output  Takes the body; null: the response keeps it.
    /// @return The response, or null.
    Ref<Response> perform(Ref<Interfaces::Stream> output = nullptr) {
        return perform(std::move(output), 0);
    }
    /// Answers the endpoint that the last connection of the last exchange dialled, such as
    /// "192.0.2.7:80" or "[2001:db8:0:0:0:0:0:1]:80".
    ///
    /// @return A string, or null when there was none.
    [[nodiscard]] virtual Ref<String> peerAddress() const = 0;

    /// Has a function told the fraction of the download that is done, from 0.0 to 1.0.
    ///
    /// @param tell  Is copied; called on the thread that performs. An exception ends the program.
    /// @return The request itself.
    template <std::invocable<double> Function>
    Ref<Request> onDownloadProgress(Function tell) {
        return setDownloadProgressCallback(Ref<ProgressFunction<Function>>::make(std::move(tell)));
    }
    /// Has a function told the fraction of the upload that is done, from 0.0 to 1.0.
    ///
    /// @param tell  Is copied; called on the thread that performs. An exception ends the program.
    /// @return The request itself.
    template <std::invocable<double> Function>
    Ref<Request> onUploadProgress(Function tell) {
        return setUploadProgressCallback(Ref<ProgressFunction<Function>>::make(std::move(tell)));
    }
    /// Has a function asked, after every piece of a body, whether to stop: true stops the exchange
    /// with `ErrCancelled`. Sets query and argument.
    ///
    /// @param query  Is copied; called on the thread that performs. An exception ends the program.
    /// @return The request itself.
    template <std::predicate Function>
    Ref<Request> cancelWhen(Function query) {
        return setCancelArgument(1)->setCancelQuery(
            Ref<CancelFunction<Function>>::make(std::move(query)));
    }

    // Takes two places in the table of operations, behind those above: an operation that a later
    // version adds is declared below this line, at the end.
    ~Request() override = default;
};

}  // namespace Libraries::Networks::HTTP::Client
