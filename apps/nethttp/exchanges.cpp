// One request, performed once or several times: everything that can fail before the first byte goes
// out is opened first, then each exchange runs, its body is written and its entry reported.

#include "exchanges.hpp"

#include <atomic>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>

#include "platform/runtime/error.hpp"

#include "body_source.hpp"
#include "exchange_messages.hpp"
#include "host.hpp"
#include "interrupts.hpp"
#include "messages.hpp"
#include "output.hpp"
#include "progress_bar.hpp"
#include "record_watch.hpp"
#include "report.hpp"
#include "text.hpp"
#include "watches.hpp"

namespace cli {

namespace {

using Phase = ProgressBar::Phase;

bool showsProgress(const Options& options) {
    if (options.progress) {
        return *options.progress;
    }
    const bool bodyOnTerminal = options.output == standardStreamName
                                    ? host::isTerminal(1)
                                    : host::isTerminal(options.output);
    return host::isTerminal(2) && !bodyOnTerminal;
}

class Runner {
public:
    explicit Runner(const Options& options)
        : options_(options),
          bar_(showsProgress(options)),
          upload_(Ref<ProgressWatch>::make(bar_, Phase::Upload, options.report.has_value())),
          download_(Ref<ProgressWatch>::make(bar_, Phase::Download, options.report.has_value())) {}

    ExitStatus run();

private:
    bool open();
    void giveUp();
    Ref<Request> makeRequest();
    void setUpTarget(const Ref<Request>& request);
    void performOnce(const Ref<Request>& request, std::uint64_t number);
    ExchangeResult exchange(const Ref<Request>& request);
    void comment(const ExchangeResult& result, bool written);
    [[nodiscard]] ExitStatus status(bool complete) const;

    const Options& options_;
    ProgressBar bar_;
    RecordWatch records_{[this] { bar_.clear(); }};
    Ref<ProgressWatch> upload_;
    Ref<ProgressWatch> download_;
    Ref<CancelWatch> cancel_;
    BodySource body_;
    Report report_;
    Ref<Output> output_;
    std::atomic<Output*> abandonable_ = nullptr;  // the output, for the thread of the signals
    std::optional<Interrupts> interrupts_;        // the last, because its thread sees the others
    bool failed_ = false;
    bool badResponse_ = false;
    bool toldOfBundle_ = false;
};

bool Runner::open() {
    // From here on there may be partial files to be kept, removed or named.
    interrupts_.emplace([this] { giveUp(); });
    if (options_.report && !report_.open(*options_.report)) {
        return false;
    }
    if (!body_.open(options_)) {
        return false;
    }
    cancel_ = Ref<CancelWatch>::make(options_.cancelAfter, *interrupts_);
    output_ =
        Output::openBeside(options_.output, [this](std::uint64_t bytes) { bar_.received(bytes); });
    abandonable_ = output_.get();
    return static_cast<bool>(output_);
}

/// The last act, on another thread, of a program that a signal ends while it waits.
void Runner::giveUp() {
    if (bar_.isShown()) {
        (void)std::fputc('\n', stderr);
    }
    complain("interrupted: " + targetName(options_));
    // A signal may come before the output is there.
    if (Output* const output = abandonable_) {
        output->abandon();
    }
    report_.giveUp();
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
    request->setCancelArgument(1)->setCancelQuery(cancel_);
    return request->setUploadProgressCallback(upload_)->setDownloadProgressCallback(download_);
}

ExitStatus Runner::run() {
    bool complete = false;
    if (open()) {
        const Ref<Request> request = makeRequest();
        std::uint64_t number = 0;
        while (number != options_.repeat && interrupts_->signal() == 0) {
            performOnce(request, ++number);
        }
        complete = number == options_.repeat && !failed_;
        interrupts_->settle();
        if (complete) {
            complete = output_->keep();
        } else {
            output_->abandon();
        }
    }
    complete = report_.finish() && complete;
    return status(complete);
}

ExitStatus Runner::status(bool complete) const {
    if (!complete && interrupts_ && interrupts_->signal() != 0) {
        return static_cast<ExitStatus>(StatusOfSignal + interrupts_->signal());
    }
    if (!complete) {
        return Failed;
    }
    return options_.fail && badResponse_ ? BadResponse : Done;
}

void Runner::performOnce(const Ref<Request>& request, std::uint64_t number) {
    bar_.begin(options_.repeat > 1
                   ? std::to_string(number) + '/' + std::to_string(options_.repeat) + ' '
                   : std::string(),
               body_.stripe() ? body_.stripe()->length() : 0);
    records_.forget();
    const ExchangeResult result = exchange(request);
    bar_.finish();
    if (result.response && options_.memory) {
        (void)output_->writeAll(result.response->bodyData(), result.response->bodySize());
    }
    const bool written = !output_->complainOfFailure();
    comment(result, written);
    failed_ = failed_ || !result.response || !written;
    badResponse_ = badResponse_ || (result.response && result.response->statusCode() >= 400);
    report_.add(result);
}

/// Says on standard error what a person should know of the result.
void Runner::comment(const ExchangeResult& result, bool written) {
    if (result.response) {
        if (records_.shows(RecordWatch::warningLevel)) {
            warnOfDoubtfulEnd(result, targetName(options_));
        }
        return;
    }
    if (records_.failure().certificateRefused() && !std::exchange(toldOfBundle_, true)) {
        complainOfMissingBundle();
    }
    // A body that could not be written was complained of.
    if (written && records_.shows(RecordWatch::failureLevel)) {
        complain(records_.failure().reason(result.error, textOf(result.peerAddress, "")));
    }
    complainOfExchange(result.error, targetName(options_));
}

ExchangeResult Runner::exchange(const Ref<Request>& request) {
    if (body_.stripe()) {
        // A failed exchange may have left the source in the middle.
        body_.stripe()->setPosition(0);
    }
    ExchangeResult result;
    Error::set(0);
    result.response = options_.memory ? request->perform(0)
                                      : request->perform(Ref<Interfaces::Stream>(output_), 0);
    result.error = Error::get();
    result.peerAddress = request->peerAddress();
    result.uploadProgress = upload_->takeFractions();
    result.downloadProgress = download_->takeFractions();
    result.cancelAsked = cancel_->takeCalls();
    return result;
}

}  // namespace

ExitStatus performExchanges(const Options& options) {
    return Runner(options).run();
}

}  // namespace cli
