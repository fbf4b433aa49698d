#include "net/http/engine/progress.hpp"

namespace Libraries::Networks::HTTP::Client {

void reportProgress(const Ref<ProgressCallback>& callback, std::uint64_t done,
                    std::uint64_t total) {
    if (callback) {
        callback->progress(done >= total ? 1.0
                                         : static_cast<double>(done) / static_cast<double>(total));
    }
}

bool isCancelRequested(const RequestObj& request) {
    if (request.cancelArgument_ == 0 || !request.cancelQuery_) {
        return false;
    }
    CancelQuery::Values result;
    request.cancelQuery_->invoke(result, request.cancelArgument_, CancelQuery::Values());
    return result.size() == 1 && result[0].kind == CancelQuery::Value::Boolean &&
           result[0].payload != 0;
}

}  // namespace Libraries::Networks::HTTP::Client
