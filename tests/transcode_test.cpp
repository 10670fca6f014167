// The SystemUtility transcoders: the hand-written UTF-8 and ISO-8859-1 paths
// against iconv, invalid input, the destination-full rule at every capacity,
// argument rules, code pages, the default code page and threads.
#include <gtest/gtest.h>
#include <iconv.h>

#include <atomic>
#include <numeric>
#include <optional>
#include <thread>
#include <tuple>
#include <vector>

#include "CountingAllocator.h"
#include "TranscodeTestSupport.h"

namespace {

using namespace std::literals;
using namespace xts::test;  // Script, RandomText, AllocationCounter
using SU = SystemUtility;
using Utf16Text = std::vector<UTF16Char>;
constexpr unsigned kUtf8 = SU::kUTF8CodePage, kLatin1 = SU::kLatin1CodePage;
constexpr int kInvalid = SU::kInvalidInput;

int Convert(const std::string& s, wchar_t* d, int c, unsigned cp) {
    return SU::MultiByteToWideChar(s.data(), static_cast<int>(s.size()), d, c, cp);
}
int Convert(const std::string& s, UTF16Char* d, int c, unsigned cp) {
    return SU::MultiByteToUcs2(s.data(), static_cast<int>(s.size()), d, c, cp);
}
int Convert(const std::wstring& s, char* d, int c, unsigned cp) {
    return SU::WideCharToMultiByte(s.data(), static_cast<int>(s.size()), d, c, cp);
}
int Convert(const Utf16Text& s, char* d, int c, unsigned cp) {
    return SU::Ucs2ToMultiByte(s.data(), static_cast<int>(s.size()), d, c, cp);
}

// A whole conversion with ample room: the result and the units written.
template <class Out, class Source>
std::pair<int, Out> Whole(const Source& s, unsigned cp) {
    Out out(s.size() * 4 + 8, typename Out::value_type{});
    const int n = Convert(s, out.data(), static_cast<int>(out.size()), cp);
    out.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    return {n, out};
}
const auto Wide = [](const std::string& s, unsigned cp) { return Whole<std::wstring>(s, cp); };
const auto Units = [](const std::string& s, unsigned cp) { return Whole<Utf16Text>(s, cp); };
const auto Narrow = [](const auto& s, unsigned cp) { return Whole<std::string>(s, cp); };

// `in` converted by iconv into units of `Out`; nullopt when iconv rejects it.
template <class Out, class In>
std::optional<Out> Iconv(const char* to, const char* from, const In& in) {
    const iconv_t descriptor = iconv_open(to, from);
    if (descriptor == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
    Out out(in.size() * 8 + 16, {});
    char* inPointer = const_cast<char*>(reinterpret_cast<const char*>(in.data()));
    char* outPointer = reinterpret_cast<char*>(out.data());
    std::size_t inLeft = in.size() * sizeof(in[0]), outLeft = out.size() * sizeof(out[0]);
    const std::size_t result = iconv(descriptor, &inPointer, &inLeft, &outPointer, &outLeft);
    iconv_close(descriptor);
    out.resize(out.size() - outLeft / sizeof(out[0]));
    return result == static_cast<std::size_t>(-1) ? std::nullopt : std::optional(out);
}
const auto Utf8Of = [](const auto& t) { return *Iconv<std::string>("UTF-8", "UTF-32LE", t); };
const auto Utf16Of = [](const auto& t) { return *Iconv<Utf16Text>("UTF-16LE", "UTF-32LE", t); };

// ---- The hand-written paths against iconv ----

// Generated text of each script agrees with iconv both ways. With a byte or two
// changed (and sometimes cut), so that faults land in every position of every
// kind of sequence, UTF-8 is accepted exactly when iconv accepts it.
TEST(FastPaths, GeneratedTextAgreesWithIconvAndRoundTrips) {
    for (int kind = 0; kind < 6; ++kind) {  // each script, mixed last
        std::mt19937 random(1234 + kind);
        for (int sample = 0; sample < 500; ++sample) {
            const std::wstring text = RandomText(random, Script(kind), 1 + random() % 120);
            std::string utf8 = Utf8Of(text);
            SCOPED_TRACE(::testing::Message() << ScriptName(Script(kind)) << sample);
            ASSERT_EQ(Narrow(text, kUtf8).second, utf8);
            ASSERT_EQ(Narrow(Utf16Of(text), kUtf8).second, utf8);
            ASSERT_EQ(Wide(utf8, kUtf8).second, text);
            ASSERT_EQ(Units(utf8, kUtf8).second, Utf16Of(text));
            for (int i = 1 + static_cast<int>(random() % 2); i > 0; --i)
                utf8[random() % utf8.size()] = static_cast<char>(random());
            if (random() % 4 == 0) utf8.resize(random() % utf8.size());
            const auto [result, wide] = Wide(utf8, kUtf8);
            const auto byIconv = Iconv<std::wstring>("UTF-32LE", "UTF-8", utf8);
            ASSERT_EQ(result < 0 ? std::nullopt : std::optional(wide), byIconv)
                << ::testing::PrintToString(utf8);
            ASSERT_EQ(Units(utf8, kUtf8).first >= 0, byIconv.has_value());
        }
    }
}

// ---- Invalid input: every form gives kInvalidInput ----

// Bytes not valid in their code page, alone and after ASCII (and for UTF-8
// also inside ASCII, to reach the eight-byte blocks): overlong forms,
// surrogates, values above U+10FFFF, bad lead bytes, truncated sequences,
// stray and missing continuation bytes; then iconv code pages.
TEST(InvalidInputTest, BytesAreRejectedToWideAndUtf16) {
    // clang-format off
    std::vector<std::pair<unsigned, std::string_view>> faults = {{932, "ab\x93"}, {932, "\x81\x20"},
        {20127, "a\x80"}, {1252, "a\x81"}, {936, "\xD6"}, {1200, "a\0b"sv},
        {1200, "\x00\xD8z\0"sv}};
    // The last UTF-8 fault is an encoded surrogate pair.
    for (const char* fault : {"\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xE0\x9F\xBF",
             "\xF0\x80\x80\x80", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80", "\xED\xBF\xBF",
             "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xC3", "\xE2\x82", "\xF0\x9F\x98",
             "\x80", "\xC3\xA9\xBF", "\xC3\x41", "\xE2\x28\xA1", "\xE2\x82\x28", "\xF0\x9F\x98\x41",
             "\xED\xA0\xBD\xED\xB8\x80"})
        faults.emplace_back(kUtf8, fault);
    // clang-format on
    for (const auto& [codePage, view] : faults) {
        const std::string fault(view), inside = codePage == kUtf8 ? "ascii text" : "";
        for (const std::string& text : {fault, "ascii text" + fault, "ascii text" + fault + inside})
            EXPECT_EQ(std::pair(Wide(text, codePage).first, Units(text, codePage).first),
                      std::pair(kInvalid, kInvalid))
                << ::testing::PrintToString(text);
    }
}

// Wide text that is not Unicode (refused by every code page, marked 0 here),
// characters the code page cannot represent (refused from wide and UTF-16),
// and UTF-16 with unpaired surrogates (refused by every code page).
TEST(InvalidInputTest, WideAndUtf16AreRejectedToEveryCodePage) {
    // clang-format off
    const std::pair<unsigned, std::wstring_view> kFaults[] = {{0, L"a\xD800"}, {0, L"\xDFFFz"},
        {0, L"\xD83D\xDE00"}, {0, L"\x110000"}, {0, L"\x7FFFFFFF"}, {0, L"x\xFFFFFFFF"},
        {kLatin1, L"abc\u0100"}, {kLatin1, L"\u20AC"}, {kLatin1, L"\U0001F600"},
        {1252, L"ab\u65e5"}, {1252, L"\u0416abc"}, {28595, L"\u20ac"}, {932, L"x\U0001F600"},
        {20127, L"caf\u00e9"}, {936, L"\U0001F600"}, {874, L"\u00e9"}, {950, L"\U0001F600"}};
    // clang-format on
    const std::vector<unsigned> kEvery = {kUtf8, kLatin1, 1252u, 932u, 1201u};
    for (const auto& [codePage, fault] : kFaults)
        for (const unsigned cp : codePage == 0 ? kEvery : std::vector{codePage}) {
            const std::wstring text = L"ascii text" + std::wstring(fault) + L"ascii text";
            for (const std::wstring& wide : {std::wstring(fault), text})
                EXPECT_EQ(Narrow(wide, cp).first, kInvalid) << cp;
            EXPECT_TRUE(codePage == 0 || Narrow(Utf16Of(text), cp).first == kInvalid) << cp;
        }
    for (const std::u16string fault :
         {u"a\xD83D", u"\xD83Dz", u"\xD83D\xD83D\xDE00", u"z\xDE00z", u"\xDE00\xD83D"})
        for (const std::u16string& text : {fault, u"ascii text" + fault + u"z"})
            for (const unsigned cp : kEvery)
                EXPECT_EQ(Narrow(Utf16Text(text.begin(), text.end()), cp).first, kInvalid) << cp;
}

// ---- The destination-full rule at every capacity ----

// Converts `source` at every capacity from 0 to 3 past its full length, with
// guard units on both sides. Below the full length the result is 0 and the
// destination holds the first `capacity` units of the full result (a narrow
// one may end inside a character, a UTF-16 one between the halves of a
// pair); from the full length on, the result is that length and nothing
// after it is written.
template <class Unit, class Source>
void CheckEveryCapacity(const Source& source, unsigned codePage) {
    const auto [length, full] = Whole<std::vector<Unit>>(source, codePage);
    ASSERT_GT(length, 0);
    for (int capacity = 0; capacity <= length + 3; ++capacity) {
        std::vector<Unit> buffer(capacity + 32, Unit(0x5A)), expected = buffer;  // 16 on each side
        const int result = Convert(source, buffer.data() + 16, capacity, codePage);
        std::copy_n(full.begin(), std::min(capacity, length), expected.begin() + 16);
        ASSERT_TRUE(result == (capacity < length ? 0 : length) && buffer == expected)
            << "capacity " << capacity << ", result " << result;
    }
}

void CheckEveryCapacityAllWays(const std::wstring& text, unsigned codePage) {
    SCOPED_TRACE(::testing::Message() << codePage << " " << ::testing::PrintToString(text));
    CheckEveryCapacity<char>(text, codePage);
    CheckEveryCapacity<char>(Utf16Of(text), codePage);
    CheckEveryCapacity<wchar_t>(Narrow(text, codePage).second, codePage);
    CheckEveryCapacity<UTF16Char>(Narrow(text, codePage).second, codePage);
}

TEST(CapacityTest, EveryCodePageKind) {
    const std::wstring ascii = L"The quick brown fox jumps over the lazy dog, 0123456789!";
    CheckEveryCapacityAllWays(ascii + L"\U0001F600\u00e9" + ascii, kUtf8);
    CheckEveryCapacityAllWays(L"a\u00e9\u20ac\U0001F600b\U0010FFFF\u07FF\u0800\uFFFF", kUtf8);
    CheckEveryCapacityAllWays(L"Caf\u00e9 na\u00efve \u00e0 la cr\u00e8me, 0123456789", kLatin1);
    CheckEveryCapacityAllWays(L"\u65e5\u672c\u8a9e\u30c6\u30ad\u30b9\u30c8 abc \uff76", 932);
    CheckEveryCapacityAllWays(L"ab\u00e9\U0001F600cd", 1200);
    // One non-ASCII character at every position of ASCII text up to 24 long:
    // the eight-unit blocks, their partial use and the short tails.
    for (const wchar_t special : {L'\u00e9', L'\u20ac', wchar_t(0x1F600)})
        for (std::size_t length = 1; length <= 24; ++length)
            for (std::size_t position = 0; position < length; ++position)
                CheckEveryCapacityAllWays(ascii.substr(0, length).replace(position, 1, 1, special),
                                          kUtf8);
}

// ---- Argument rules ----

TEST(TranscodeArguments, CheckedInOrderAndTerminators) {
    wchar_t wide[8];
    char narrow[8] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
    EXPECT_EQ(SU::MultiByteToWideChar("abc", 0, nullptr, 4, kUtf8), 0);  // nothing to convert
    EXPECT_EQ(SU::MultiByteToWideChar("abc", 3, nullptr, 0, 1252), 0);   // no room
    EXPECT_EQ(SU::MultiByteToWideChar("abc", 3, nullptr, 8, kUtf8), SU::kInvalidArgument);
    EXPECT_EQ(SU::WideCharToMultiByte(L"abc", 3, narrow, -1, kUtf8), SU::kInvalidArgument);
    EXPECT_EQ(SU::Ucs2ToMultiByte(nullptr, 2, narrow, 8, 12345), SU::kInvalidArgument);
    // A negative length converts the terminator too, and it needs room; the
    // three-argument overload leaves it out. (Generated texts hold embedded zeros.)
    EXPECT_EQ(SU::WideCharToMultiByte(L"\u00e9t", narrow, 8, kUtf8), 3);
    EXPECT_EQ(SU::WideCharToMultiByte(L"h\u00e9", -1, narrow + 4, 3, kUtf8), 0);
    EXPECT_EQ(SU::WideCharToMultiByte(L"h\u00e9", -1, narrow + 4, 4, kUtf8), 4);
    EXPECT_EQ(std::string(narrow, 8), "\xC3\xA9txh\xC3\xA9\0"sv);
    EXPECT_TRUE(SU::MultiByteToWideChar("a\0b\0\0\0", -1, wide, 8, 1200) == 3 &&
                std::wstring(wide, 3) == L"ab\0"sv);   // the terminator of UTF-16 is a zero unit
    EXPECT_EQ(Convert("ab\xFF"s, wide, 2, kUtf8), 0);  // checked only as far as it gets
}

// Code page 0 is the codeset of the calling thread's locale, and the C locale's
// ASCII counts as UTF-8. The hand-written paths and code page 0 allocate nothing.
TEST(FastPaths, DefaultCodePageOfTheCLocaleIsUtf8AndNothingAllocates) {
    const std::wstring text = L"Grüße \U0001F600 and some more ASCII text";
    const std::string utf8 = Utf8Of(text);
    const Utf16Text utf16 = Utf16Of(text);
    wchar_t wide[64];
    UTF16Char units[64];
    char narrow[64];
    const locale_t c = newlocale(LC_CTYPE_MASK, "C", locale_t{}), previous = uselocale(c);
    EXPECT_EQ(SU::GetMultiByteCodePage(), 65001u);  // its first use may set up locale data
    EXPECT_EQ(Wide(utf8, 0), std::pair(static_cast<int>(text.size()), text));
    AllocationCounter counter;
    int total = 0;
    for (const unsigned cp : {kUtf8, kLatin1, 0u})
        total += Convert(utf8, wide, 64, cp) + Convert(utf8, units, 64, cp) +
                 Convert(text, narrow, 64, cp) + Convert(utf16, narrow, 64, cp);
    EXPECT_TRUE(counter.Count() == 0u && total > 0);
    uselocale(previous);
    freelocale(c);
}

// ---- Code pages ----

// Every number with a charset maps back from it and opens in iconv; every
// other number fails in every converter, even with nothing to convert.
TEST(CodePageTable, KnownNumbersOpenInIconvAndAllOthersFailEverywhere) {
    int known = 0;
    for (unsigned cp = 1; cp <= 70000; ++cp) {
        if (const char* charset = SU::GetCodePageCharset(cp)) {
            ++known;
            EXPECT_EQ(SU::GetCodePageFromCharset(charset), cp) << charset;
            EXPECT_TRUE(Iconv<std::wstring>("UTF-32LE", charset, ""s)) << charset;
            continue;
        }
        for (const int result : {Wide(""s, cp).first, Narrow(L"ab"s, cp).first,
                                 Narrow(Utf16Text(), cp).first, Units("ab"s, cp).first})
            ASSERT_EQ(result, SU::kUnknownCodePage) << cp;
    }
    EXPECT_EQ(known, 36);
    EXPECT_EQ(SU::GetCodePageFromCharset("u_t_f_8") + SU::GetCodePageFromCharset("UTF-8x"), 65001u);
}

// Samples of more code pages than one thread's descriptor cache holds, and every
// byte of ISO-8859-1, converted all four ways alone and then on four threads at
// once (descriptors are closed and reopened while the others convert).
TEST(TranscodeThreads, ConcurrentConversionsMatchTheKnownBytes) {
    std::wstring latin1(256, 0);
    std::iota(latin1.begin(), latin1.end(), 0);
    // clang-format off
    const std::tuple<unsigned, std::wstring, std::string> kSamples[] = {
        {1252, L"Caf\u00e9 \u20ac \u201cok\u201d", "Caf\xE9 \x80 \x93ok\x94"},
        {1251, L"\u041f\u0440\u0438\u0432\u0435\u0442", "\xCF\xF0\xE8\xE2\xE5\xF2"},
        {932, L"\u65e5\u672c \uff76", "\x93\xFA\x96\x7B \xB6"}, {1201, L"a\u00e9", "\0a\0\xE9"s},
        {936, L"\u4e2d\u6587", "\xD6\xD0\xCE\xC4"}, {950, L"\u4e2d\u6587", "\xA4\xA4\xA4\xE5"},
        {1200, L"a\U0001F600", "a\0\x3D\xD8\x00\xDE"s}, {28605, L"\u20ac\u0153", "\xA4\xBD"},
        {54936, L"\U0001F600", "\x94\x39\xFC\x36"},
        {kLatin1, latin1, std::string(latin1.begin(), latin1.end())}};
    // clang-format on
    const auto converts = [&](std::size_t i) {
        const auto& [cp, text, bytes] = kSamples[i % std::size(kSamples)];
        return Narrow(text, cp).second == bytes && Narrow(Utf16Of(text), cp).second == bytes &&
               Wide(bytes, cp).second == text && Units(bytes, cp).second == Utf16Of(text);
    };
    for (std::size_t i = 0; i < std::size(kSamples); ++i)
        EXPECT_TRUE(converts(i)) << std::get<0>(kSamples[i]);
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (std::size_t round = 0; round < 200; ++round) failures += !converts(t * 5 + round);
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failures, 0);
}

}  // namespace
