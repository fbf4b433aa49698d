// One request, performed once or several times: everything that can fail before the first byte goes
// out is opened first, then each exchange runs, its body is written and its entry reported.

#include "exchanges.hpp"

#include <array>
#include <charconv>
#include <string>
#include <utility>

#include "platform/runtime/error.hpp"
#include "platform/runtime/system.hpp"

#include "body_source.hpp"
#include "host.hpp"
#include "messages.hpp"
#include "output.hpp"
#include "progress_bar.hpp"
#include "record_watch.hpp"
#include "report.hpp"
#include "text.hpp"

using Libraries::Networks::HTTP::Client::CancelQuery;
using Libraries::Networks::HTTP::Client::ProgressCallback;

namespace cli {

namespace {

using Phase = ProgressBar::Phase;

/// Hands the fractions of one direction to the bar and keeps them for the report.
class ProgressWatch final : public Object, public ProgressCallback {
public:
    ProgressWatch(ProgressBar& bar, Phase phase, bool keeps)
        : bar_(bar), phase_(phase), keeps_(keeps) {}

    void progress(double fraction) override {
        if (keeps_) {
            fractions_.push_back(fraction);
        }
        bar_.update(phase_, fraction);
    }
    std::vector<double> takeFractions() { return std::exchange(fractions_, {}); }

private:
    ProgressBar& bar_;
    Phase phase_;
    bool keeps_;
    std::vector<double> fractions_;
};

/// Answers "cancel" from its nth call on, over all exchanges.
class CancelCounter final : public Object, public CancelQuery {
public:
    explicit CancelCounter(std::uint64_t cancelFrom) : cancelFrom_(cancelFrom) {}

    void invoke(Values& result, std::uint64_t, const Values&) override {
        ++calls_;
        result.push_back({Value::Boolean, calls_ >= cancelFrom_ ? 1U : 0U});
    }
    [[nodiscard]] std::uint64_t calls() const { return calls_; }

private:
    std::uint64_t cancelFrom_;
    std::uint64_t calls_ = 0;
};

bool showsProgress(const Options& options) {
    if (options.progress) {
        return *options.progress;
    }
    const bool bodyOnTerminal = options.output == standardStreamName
                                    ? host::isTerminal(1)
                                    : host::isTerminal(options.output);
    return host::isTerminal(2) && !bodyOnTerminal;
}

/// Answers how messages call the target: the URL, or what the options put in its place.
std::string targetName(const Options& options) {
    if (options.url) {
        return *options.url;
    }
    const std::uint64_t port = options.port.value_or(0);
    const bool refusesHttp = options.flags.has(Request::Flag::DisallowHttp);
    const auto protocol = options.protocol.value_or(Request::Protocol::Auto);
    const bool inferredHttps = port == 443 || (port != 80 && refusesHttp);
    const bool https = protocol == Request::Protocol::Https ||
                       (protocol == Request::Protocol::Auto && inferredHttps);
    return (https ? "https://" : "http://") + *options.host +
           (port != 0 ? ':' + std::to_string(port) : "") + *options.path;
}

/// Tells where the certificate bundle was looked for, if there is none.
void complainOfMissingBundle() {
    const Ref<String> path = Sys::hostPath(stringOf("/system/base/certs.pem"));
    if (!FileStrm::openForReading(path)) {
        complain("no certificate bundle: " + textOf(path) + ": " +
                 textOf(Error::describe(Error::get())) +
                 " (install ca-certificates, or set VORNIK_ROOT)");
    }
}

/// Writes the line by which scripts know a failed exchange.
void complainOfExchange(std::uint32_t code, const std::string& target) {
    std::array<char, 16> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), code, 16).ptr;
    const char* const name = Error::name(code);
    complain((name != nullptr ? name : "Error") + std::string(" (") +
             std::string(digits.data(), end) + "h): " + target);
}

class Runner {
public:
    explicit Runner(const Options& options)
        : options_(options),
          bar_(showsProgress(options)),
          upload_(Ref<ProgressWatch>::make(bar_, Phase::Upload, options.report.has_value())),
          download_(Ref<ProgressWatch>::make(bar_, Phase::Download, options.report.has_value())) {
        if (options.cancelAfter) {
            cancel_ = Ref<CancelCounter>::make(*options.cancelAfter);
        }
    }

    ExitStatus run();

private:
    bool open();
    Ref<Request> makeRequest();
    void setUpTarget(const Ref<Request>& request);
    void performOnce(const Ref<Request>& request, std::uint64_t number);
    ExchangeResult exchange(const Ref<Request>& request);

    const Options& options_;
    ProgressBar bar_;
    RecordWatch records_{[this] { bar_.clear(); }};
    Ref<ProgressWatch> upload_;
    Ref<ProgressWatch> download_;
    Ref<CancelCounter> cancel_;
    BodySource body_;
    Report report_;
    Ref<Output> output_;
    bool failed_ = false;
    bool badResponse_ = false;
    bool toldOfBundle_ = false;
};

bool Runner::open() {
    if (options_.report && !report_.open(*options_.report)) {
        return false;
    }
    if (!body_.open(options_)) {
        return false;
    }
    output_ = Output::open(options_.output, [this](std::uint64_t bytes) { bar_.received(bytes); });
    return static_cast<bool>(output_);
}

void Runner::setUpTarget(const Ref<Request>& request) {
    if (options_.url) {
        request->setUrl(stringOf(*options_.url));
    }
    if (options_.protocol) {
        request->setProtocol(*options_.protocol);
    }
    if (options_.host) {
        request->setHost(stringOf(*options_.host));
    }
    if (options_.port) {
        request->setPort(static_cast<unsigned short>(*options_.port));
    }
    if (options_.path) {
        request->setPath(stringOf(*options_.path));
    }
}

Ref<Request> Runner::makeRequest() {
    const Ref<Request> request = Request::create(options_.flags);
    setUpTarget(request);
    if (options_.method) {
        request->setMethod(stringOf(*options_.method));
    }
    if (options_.version) {
        request->setVersion(*options_.version);
    }
    for (const auto& [name, value] : options_.headers) {
        request->setHeaderField(stringOf(name), stringOf(value));
    }
    if (body_.stripe()) {
        request->setBody(body_.stripe());
    }
    if (cancel_) {
        request->setCancelArgument(1)->setCancelQuery(cancel_);
    }
    return request->setUploadProgressCallback(upload_)->setDownloadProgressCallback(download_);
}

ExitStatus Runner::run() {
    if (open()) {
        const Ref<Request> request = makeRequest();
        for (std::uint64_t number = 0; number != options_.repeat;) {
            performOnce(request, ++number);
        }
    } else {
        failed_ = true;
    }
    if (!report_.finish() || failed_) {
        return Failed;
    }
    return options_.fail && badResponse_ ? BadResponse : Done;
}

void Runner::performOnce(const Ref<Request>& request, std::uint64_t number) {
    bar_.begin(options_.repeat > 1
                   ? std::to_string(number) + '/' + std::to_string(options_.repeat) + ' '
                   : std::string());
    records_.forget();
    const ExchangeResult result = exchange(request);
    bar_.finish();
    if (result.response && options_.memory) {
        (void)output_->writeAll(result.response->bodyData(), result.response->bodySize());
    }
    const bool written = !output_->complainOfFailure();
    if (!result.response) {
        if (records_.certificateRefused() && !std::exchange(toldOfBundle_, true)) {
            complainOfMissingBundle();
        }
        complainOfExchange(result.error, targetName(options_));
    }
    failed_ = failed_ || !result.response || !written;
    badResponse_ = badResponse_ || (result.response && result.response->statusCode() >= 400);
    report_.add(result);
}

ExchangeResult Runner::exchange(const Ref<Request>& request) {
    if (body_.stripe()) {
        // A failed exchange may have left the source in the middle.
        body_.stripe()->setPosition(0);
    }
    const std::uint64_t askedBefore = cancel_ ? cancel_->calls() : 0;
    ExchangeResult result;
    result.response = options_.memory ? request->perform(0)
                                      : request->perform(Ref<Interfaces::Stream>(output_), 0);
    result.error = result.response ? 0 : Error::get();
    result.peerAddress = request->peerAddress();
    result.uploadProgress = upload_->takeFractions();
    result.downloadProgress = download_->takeFractions();
    result.cancelAsked = cancel_ ? cancel_->calls() - askedBefore : 0;
    return result;
}

}  // namespace

ExitStatus performExchanges(const Options& options) {
    return Runner(options).run();
}

}  // namespace cli
