// Mentions the types that applications and the headers' inline code share beyond those that the
// libraries' own functions take: their layout and their tables are binary interface as well.
#include "platform/log/log.hpp"
#include "platform/memory/memory.hpp"
#include "platform/network/network.hpp"
#include "platform/runtime/string_util.hpp"
#include "platform/runtime/system.hpp"
#include "platform/runtime/thread.hpp"
#include "platform/streams/adapters.hpp"
#include "platform/streams/streams.hpp"

#include "net/http/http.hpp"

namespace Http = Libraries::Networks::HTTP::Client;

// A template has a layout when it is instantiated, and is described when a function takes it.
using Cancel = Http::CancelFunction<bool (*)()>;
using Progress = Http::ProgressFunction<void (*)(double)>;
using FlagConversion = Definitions::EnumSeqConvert<Http::Request::Flag, unsigned int>;
template class Http::CancelFunction<bool (*)()>;
template class Http::ProgressFunction<void (*)(double)>;
template struct Definitions::EnumSeqConvert<Http::Request::Flag, unsigned int>;

VORNIK_EXPORT void mention(const Cancel&, const Progress&, const FlagConversion&);
VORNIK_EXPORT void mention(const Cancel&, const Progress&, const FlagConversion&) {}

VORNIK_EXPORT void mention(const Http::Request&, const Http::Response&, Http::Request::Flag);
VORNIK_EXPORT void mention(const Http::Request&, const Http::Response&, Http::Request::Flag) {}

VORNIK_EXPORT void mention(const Http::CancelQuery&, const Http::CancelQuery::Value&,
                           const Http::ProgressCallback&, const Http::HeaderFields&);
VORNIK_EXPORT void mention(const Http::CancelQuery&, const Http::CancelQuery::Value&,
                           const Http::ProgressCallback&, const Http::HeaderFields&) {}

VORNIK_EXPORT void mention(const Streams::OstreamOutput&, const Streams::StringOutput&,
                           const Streams::SpanOutput&, const TransferBuffer&, const StringLess&);
VORNIK_EXPORT void mention(const Streams::OstreamOutput&, const Streams::StringOutput&,
                           const Streams::SpanOutput&, const TransferBuffer&, const StringLess&) {}
