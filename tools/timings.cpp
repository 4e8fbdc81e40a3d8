#include "timings.h"

#include <algorithm>
#include <cmath>

namespace desk_tool {
namespace {

constexpr double first_bucket_ms = 0.001;
constexpr double growth = 1.01;

}  // namespace

void Timings::add(double milliseconds) {
    const double grown = std::log(std::max(milliseconds, first_bucket_ms) / first_bucket_ms);
    const auto bucket = static_cast<std::size_t>(grown / std::log(growth));
    ++buckets_[std::min(bucket, buckets_.size() - 1)];
    minimum_ = count_ == 0 ? milliseconds : std::min(minimum_, milliseconds);
    maximum_ = count_ == 0 ? milliseconds : std::max(maximum_, milliseconds);
    ++count_;
}

double Timings::median() const {
    std::uint64_t below = 0;
    for (std::size_t i = 0; i < buckets_.size(); ++i) {
        below += buckets_[i];
        if (count_ == 0 || 2 * below < count_) continue;
        const double middle = first_bucket_ms * std::pow(growth, static_cast<double>(i) + 0.5);
        return std::clamp(middle, minimum_, maximum_);
    }
    return 0;
}

}  // namespace desk_tool
