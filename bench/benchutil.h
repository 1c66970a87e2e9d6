#pragma once

// Shared by the benchmarks.

#include <algorithm>
#include <vector>

namespace benchutil {

// The middle value (the upper one of an even count); 0 for none.
inline double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

} // namespace benchutil
