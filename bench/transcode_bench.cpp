// UTF-8 <-> wide transcoding: SystemUtility's hand-written paths against
// iconv (one descriptor opened once per benchmark, as a careful caller would).
//
// Cases: single values of 10 and 100 characters of Western European prose
// (time per value), a 100-character value of dense accented Latin (no
// target), 1 MB of mixed text (Latin, CJK, emoji, ASCII) and 1 MB of ASCII.
// Throughput is counted in UTF-8 bytes for both directions.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "Utility/Generic/SUGSystemUtility.h"

namespace {

using xts::bench::ProseValue;

constexpr unsigned kUtf8 = SystemUtility::kUTF8CodePage;

// Dense accented Latin (about 20% of the characters), a harder case shown
// for information.
std::wstring DenseLatinValue(std::size_t characters) {
    static const std::wstring kText =
        L"Gr\u00fc\u00dfe aus Z\u00fcrich: Soci\u00e9t\u00e9 G\u00e9n\u00e9rale, "
        L"\u00c6r\u00f8sk\u00f8bing, \u0141\u00f3d\u017a und M\u00e1laga. ";
    std::wstring value;
    while (value.size() < characters) value += kText;
    value.resize(characters);
    return value;
}

// Text mixing ASCII words, accented Latin, CJK and emoji, with a fixed seed.
std::wstring MixedText(std::size_t utf8Bytes) {
    std::mt19937 random(20240611);
    std::wstring text;
    std::size_t bytes = 0;
    while (bytes < utf8Bytes) {
        const unsigned script = random() % 10;
        const unsigned length = 2 + random() % 8;
        for (unsigned i = 0; i < length; ++i) {
            wchar_t character;
            if (script < 4) {
                character = static_cast<wchar_t>('a' + random() % 26);
            } else if (script < 7) {
                character = static_cast<wchar_t>(0xC0 + random() % 0x40);  // Latin-1 letters
            } else if (script < 9) {
                character = static_cast<wchar_t>(0x4E00 + random() % 0x5000);  // CJK
            } else {
                character = static_cast<wchar_t>(0x1F600 + random() % 0x50);  // emoji
            }
            text.push_back(character);
            bytes += character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
        }
        text.push_back(L' ');
        ++bytes;
    }
    return text;
}

std::wstring AsciiText(std::size_t characters) {
    std::mt19937 random(7);
    std::wstring text;
    text.reserve(characters);
    static const char kAlphabet[] = "abcdefghijklmnopqrstuvwxyz ABCDEFGHIJ 0123456789,.;";
    for (std::size_t i = 0; i < characters; ++i)
        text.push_back(static_cast<wchar_t>(kAlphabet[random() % (sizeof kAlphabet - 1)]));
    return text;
}

std::string ToUtf8(const std::wstring& text) {
    std::string utf8;
    if (!SystemUtility::ToNarrow(text, utf8, kUtf8)) {
        std::fprintf(stderr, "benchmark input does not encode\n");
        std::abort();
    }
    return utf8;
}

enum class Input { kValue10, kValue100, kDenseLatin100, kMixed1MB, kAscii1MB };

std::wstring MakeInput(Input input) {
    switch (input) {
        case Input::kValue10: return ProseValue(10);
        case Input::kValue100: return ProseValue(100);
        case Input::kDenseLatin100: return DenseLatinValue(100);
        case Input::kMixed1MB: return MixedText(1 << 20);
        case Input::kAscii1MB: return AsciiText(1 << 20);
    }
    return {};
}

// One iconv descriptor for the life of a benchmark.
class IconvDescriptor {
public:
    IconvDescriptor(const char* to, const char* from) : m_descriptor(iconv_open(to, from)) {
        if (m_descriptor == reinterpret_cast<iconv_t>(-1)) {
            std::fprintf(stderr, "iconv_open(%s, %s) failed\n", to, from);
            std::abort();
        }
    }
    ~IconvDescriptor() { iconv_close(m_descriptor); }
    IconvDescriptor(const IconvDescriptor&) = delete;
    IconvDescriptor& operator=(const IconvDescriptor&) = delete;

    // Converts the whole input; returns the bytes written or -1.
    long Convert(const void* source, std::size_t sourceBytes, void* destination,
                 std::size_t destinationBytes) {
        char* in = static_cast<char*>(const_cast<void*>(source));
        char* out = static_cast<char*>(destination);
        std::size_t inLeft = sourceBytes;
        std::size_t outLeft = destinationBytes;
        if (iconv(m_descriptor, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1))
            return -1;
        return static_cast<long>(destinationBytes - outLeft);
    }

private:
    iconv_t m_descriptor;
};

void Utf8ToWideOurs(benchmark::State& state, Input input) {
    const std::string source = ToUtf8(MakeInput(input));
    std::vector<wchar_t> destination(source.size() + 1);
    for (auto _ : state) {
        const int written = SystemUtility::MultiByteToWideChar(
            source.data(), static_cast<int>(source.size()), destination.data(),
            static_cast<int>(destination.size()), kUtf8);
        benchmark::DoNotOptimize(written);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * source.size()));
}

void Utf8ToWideBaseline(benchmark::State& state, Input input) {
    const std::string source = ToUtf8(MakeInput(input));
    std::vector<wchar_t> destination(source.size() + 1);
    IconvDescriptor descriptor("UTF-32LE", "UTF-8");
    for (auto _ : state) {
        const long written = descriptor.Convert(source.data(), source.size(), destination.data(),
                                                destination.size() * sizeof(wchar_t));
        benchmark::DoNotOptimize(written);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * source.size()));
}

void WideToUtf8Ours(benchmark::State& state, Input input) {
    const std::wstring source = MakeInput(input);
    const std::size_t utf8Bytes = ToUtf8(source).size();
    std::vector<char> destination(source.size() * 4 + 1);
    for (auto _ : state) {
        const int written = SystemUtility::WideCharToMultiByte(
            source.data(), static_cast<int>(source.size()), destination.data(),
            static_cast<int>(destination.size()), kUtf8);
        benchmark::DoNotOptimize(written);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * utf8Bytes));
}

void WideToUtf8Baseline(benchmark::State& state, Input input) {
    const std::wstring source = MakeInput(input);
    const std::size_t utf8Bytes = ToUtf8(source).size();
    std::vector<char> destination(source.size() * 4 + 1);
    IconvDescriptor descriptor("UTF-8", "UTF-32LE");
    for (auto _ : state) {
        const long written = descriptor.Convert(source.data(), source.size() * sizeof(wchar_t),
                                                destination.data(), destination.size());
        benchmark::DoNotOptimize(written);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * utf8Bytes));
}

struct CaseInfo {
    const char* name;
    Input input;
};
constexpr CaseInfo kCases[] = {
    {"Value10", Input::kValue10},
    {"Value100", Input::kValue100},
    {"DenseLatin100", Input::kDenseLatin100},
    {"Mixed1MB", Input::kMixed1MB},
    {"Ascii1MB", Input::kAscii1MB},
};

// Registers ours and the baseline of both directions for every case.
const bool kRegistered = [] {
    for (const CaseInfo& info : kCases) {
        const std::string name = info.name;
        const Input input = info.input;
        benchmark::RegisterBenchmark(("Utf8ToWide/" + name + "/ours").c_str(), Utf8ToWideOurs,
                                     input);
        benchmark::RegisterBenchmark(("Utf8ToWide/" + name + "/baseline").c_str(),
                                     Utf8ToWideBaseline, input);
        benchmark::RegisterBenchmark(("WideToUtf8/" + name + "/ours").c_str(), WideToUtf8Ours,
                                     input);
        benchmark::RegisterBenchmark(("WideToUtf8/" + name + "/baseline").c_str(),
                                     WideToUtf8Baseline, input);
    }
    return true;
}();

}  // namespace

XTS_BENCH_TARGET("Utf8ToWide/Value10", .minRatio = 5);
XTS_BENCH_TARGET("Utf8ToWide/Value100", .minRatio = 5);
XTS_BENCH_TARGET("Utf8ToWide/Mixed1MB", .minRatio = 1);
XTS_BENCH_TARGET("Utf8ToWide/Ascii1MB", .minRatio = 0, .minBytesPerSecond = 3e9);
XTS_BENCH_TARGET("WideToUtf8/Value10", .minRatio = 5);
XTS_BENCH_TARGET("WideToUtf8/Value100", .minRatio = 5);
XTS_BENCH_TARGET("WideToUtf8/Mixed1MB", .minRatio = 1);
XTS_BENCH_TARGET("WideToUtf8/Ascii1MB", .minRatio = 0, .minBytesPerSecond = 3e9);
