#include "netwatchd/burst.h"

#include <algorithm>

namespace netwatchd {

void Burst::note(Clock::time_point now) {
    if (!span_) {
        span_ = Span{now, now};
    }
    span_->last = now;
}

std::optional<Burst::Clock::time_point> Burst::deadline() const {
    if (!span_) {
        return std::nullopt;
    }
    return std::min(span_->last + quiet, span_->first + longest);
}

bool Burst::takeDue(Clock::time_point now) {
    if (!span_ || now < *deadline()) {
        return false;
    }
    span_.reset();
    return true;
}

} // namespace netwatchd
