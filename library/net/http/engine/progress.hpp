#pragma once

#include "net/http/engine/request_obj.hpp"

namespace Libraries::Networks::HTTP::Client {

/// Tells a callback, unless it is null, the fraction `done` of `total`: 1.0 when nothing is left.
void reportProgress(const Ref<ProgressCallback>& callback, std::uint64_t done, std::uint64_t total);

/// Asks the request's cancel query, if there is one and the cancel argument is not 0.
bool isCancelRequested(const RequestObj& request);

}  // namespace Libraries::Networks::HTTP::Client
