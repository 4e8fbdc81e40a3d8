// How long many exchanges took, in bounded room.
#pragma once

#include <array>
#include <cstdint>

namespace desk_tool {

class Timings {
  public:
    void add(double milliseconds);

    std::uint64_t count() const { return count_; }
    double minimum() const { return minimum_; }
    double maximum() const { return maximum_; }

    // Within a hundredth of the value that half of them do not exceed; 0 without any.
    double median() const;

  private:
    static constexpr std::size_t bucket_count = 2048;

    std::array<std::uint64_t, bucket_count> buckets_{};  // each a hundredth wider than the last
    std::uint64_t count_ = 0;
    double minimum_ = 0;
    double maximum_ = 0;
};

}  // namespace desk_tool
