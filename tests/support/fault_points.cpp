#include "tests/support/fault_points.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace FaultPoints {
namespace {

// A plain pointer, so that a call in the loader or at a thread's very end may look at it.
thread_local constinit Point* current = nullptr;

unsigned errorCount(const Kind& kind) noexcept {
    const auto* const end = std::find(kind.errors.begin(), kind.errors.end(), 0);
    return static_cast<unsigned>(end - kind.errors.begin());
}

}  // namespace

void Point::begin() noexcept {
    current = this;
}

unsigned Point::variants() const noexcept {
    if (kind_ == nullptr) {
        return 0;
    }
    const unsigned errors = errorCount(*kind_);
    const unsigned tried = depth_ == Depth::All ? errors : std::min(errors, 1U);
    return 2 * tried + static_cast<unsigned>(kind_->isInterrupted) +
           static_cast<unsigned>(kind_->wouldBlock) + static_cast<unsigned>(kind_->movesLess) +
           static_cast<unsigned>(kind_->ends);
}

Treatment Point::visit(const Kind& kind) noexcept {
    if ((only_ != nullptr && only_ != &kind) || except_ == &kind) {
        return {};
    }
    ++calls_;
    if (calls_ == number_) {
        kind_ = &kind;
        treatment_ = choose(kind);
        return treatment_;
    }
    const bool lasts = treatment_.way == Way::FailsFromNow && kind_ == &kind;
    return lasts ? treatment_ : Treatment{};
}

/// The errors come first, each once and lasting; then the other ways that the kind knows.
Treatment Point::choose(const Kind& kind) const noexcept {
    const unsigned errors = errorCount(kind);
    const unsigned tried = depth_ == Depth::All ? errors : std::min(errors, 1U);
    if (variant_ < 2 * tried) {
        const unsigned index = depth_ == Depth::All ? variant_ / 2 : number_ % errors;
        return {variant_ % 2 == 0 ? Way::Fails : Way::FailsFromNow, kind.errors[index]};
    }
    unsigned left = variant_ - 2 * tried;
    const std::array<std::pair<bool, Way>, 4> others = {{{kind.isInterrupted, Way::Interrupted},
                                                         {kind.wouldBlock, Way::WouldBlock},
                                                         {kind.movesLess, Way::MovesLess},
                                                         {kind.ends, Way::Ends}}};
    for (const auto& [known, way] : others) {
        if (known && left-- == 0) {
            return {way, 0};
        }
    }
    return {};
}

Treatment next(const Kind& kind) noexcept {
    return current != nullptr ? current->visit(kind) : Treatment{};
}

bool isThorough() {
    const char* const depth =
        std::getenv("NETHTTP_FAULTS");  // NOLINT(concurrency-mt-unsafe): read only
    return depth != nullptr && std::strcmp(depth, "all") == 0;
}

bool isCounting() noexcept {
    return current != nullptr;
}

}  // namespace FaultPoints
