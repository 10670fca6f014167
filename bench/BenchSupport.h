// Helpers shared by the benchmark files: the targets that a pair of
// benchmarks (ours against its baseline) should meet. See BenchMain.cpp for
// the naming convention and the Ratios table.
#pragma once

#include <map>
#include <string>

namespace xts::bench {

// What "<Family>/<Case>/ours" should achieve. A zero field sets no target.
struct Target {
    // The least ratio baseline time / our time (how many times faster).
    double minRatio = 0;
    // The least throughput of ours in bytes per second (needs SetBytesProcessed).
    double minBytesPerSecond = 0;
};

// Records the target of the pair "<Family>/<Case>". Returns true so that it
// can initialise a namespace-scope constant (see XTS_BENCH_TARGET).
bool SetTarget(const std::string& familyCase, Target target);

// Every target recorded so far, by "<Family>/<Case>".
const std::map<std::string, Target>& Targets();

// A column value of Western European prose of `characters` characters:
// mostly ASCII with the accented letters of ordinary German and French text
// (about 5% of the characters).
std::wstring ProseValue(std::size_t characters);

}  // namespace xts::bench

#define XTS_BENCH_CONCAT_INNER(a, b) a##b
#define XTS_BENCH_CONCAT(a, b) XTS_BENCH_CONCAT_INNER(a, b)

// XTS_BENCH_TARGET("Utf8ToWide/Value10", .minRatio = 5);
#define XTS_BENCH_TARGET(familyCase, ...)                                           \
    [[maybe_unused]] static const bool XTS_BENCH_CONCAT(xtsBenchTarget, __LINE__) = \
        ::xts::bench::SetTarget(familyCase, ::xts::bench::Target{__VA_ARGS__})
