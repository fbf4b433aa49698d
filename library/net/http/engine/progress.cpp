// The application's callbacks, as upload and download use them.

#include "net/http/engine/progress.hpp"

namespace Libraries::Networks::HTTP::Client {

void reportProgress(const Ref<ProgressCallback>& callback, std::uint64_t done,
                    std::uint64_t total) {
    // It may be taken out of the request meanwhile.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): holds the callback
    const Ref<ProgressCallback> held = callback;
    if (held) {
        held->progress(done >= total ? 1.0
                                     : static_cast<double>(done) / static_cast<double>(total));
    }
}

bool isCancelRequested(const RequestObj& request) {
    const Ref<CancelQuery> query = request.cancelQuery_;
    if (request.cancelArgument_ == 0 || !query) {
        return false;
    }
    CancelQuery::Values result;
    query->invoke(result, request.cancelArgument_, CancelQuery::Values());
    return result.size() == 1 && result[0].kind == CancelQuery::Value::Boolean &&
           result[0].payload != 0;
}

}  // namespace Libraries::Networks::HTTP::Client
