// Session options and values: the version tables and each application type's policy,
// assignment through base references, byte images, round trips and truncated prefixes over
// generated values, and the case-insensitive map.
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cwctype>
#include <limits>
#include <random>

#include "CountingAllocator.h"
#include "RecordTestSupport.h"
#include "TranscodeTestSupport.h"
#include "Utility/Client/SUCAppSupportMetrics.h"

namespace {

using namespace std::string_literals;
using xts::test::End;
using xts::test::ErrorCodeOf;

// Built by this program's static initialiser: the library's tables are filled by then.
const AppVersionOption g_optionBuiltAtLoad(kAppTypeNativeApiClient, 3);

constexpr unsigned kMax = std::numeric_limits<unsigned>::max();
using Fields = std::array<unsigned, 5>;  // type, call-level version, client, server, chosen
using Entries = std::vector<std::pair<String, String>>;

std::array<unsigned, 3> State(const VersionOption& o) {
    return {o.m_clientVersion, o.m_serverVersion, o.m_chosenVersion};
}
Fields State(const AppVersionOption& o) {
    return {o.m_appType, o.m_clientOdbcVersion, o.m_clientVersion, o.m_serverVersion,
            o.m_chosenVersion};
}
std::pair<Entries, Fields> State(const SessionValueMap& map) {
    SessionValueList list;
    map.GetAllValues(list);
    AppVersionOption option;
    map.GetAppVersionOption(option);
    return {Entries(list.begin(), list.end()), State(option)};
}
AppVersionOption MakeOption(const Fields& f) {
    AppVersionOption option(f[0], f[1]);
    static_cast<VersionOption&>(option) = VersionOption(f[2], f[3], f[4]);
    return option;
}
// Little-endian 32-bit words, in a vector of exactly their size.
ByteVector Words(std::initializer_list<unsigned> words) {
    ByteVector out(words.size() * 4);
    for (std::size_t i = 0; i < out.size(); ++i) out[i] = uint8(words.begin()[i / 4] >> i % 4 * 8);
    return out;
}

// Writes `source` and reads it back with both readers (which stop after their own items); then
// every proper prefix, in an exactly sized heap buffer, read into a copy of `before` throws
// 46302 and leaves that copy unchanged.
template <class T>
void ExpectReadBack(const T& source, const T& before) {
    ByteVector bytes;
    source.ToByteVector(bytes);
    bytes.push_back(0xFF);
    const unsigned char* end = &bytes.back();
    T trusting, checked;
    EXPECT_EQ(trusting.FromByteVector(bytes.data()), end);
    EXPECT_EQ(checked.FromByteVector(bytes.data(), End(bytes)), end);
    EXPECT_TRUE(State(trusting) == State(source) && State(checked) == State(source));
    for (std::size_t length = 0; length + 1 < bytes.size(); ++length) {
        const ByteVector prefix(bytes.begin(), bytes.begin() + length);
        T target = before;
        const int32 code = ErrorCodeOf([&] { target.FromByteVector(prefix.data(), End(prefix)); });
        EXPECT_TRUE(code == kMsgTruncatedByteVector && State(target) == State(before)) << length;
    }
}

TEST(VersionTables, HoldTheBuiltInRowsFromLoadOn) {
    EXPECT_EQ(State(g_optionBuiltAtLoad), (Fields{1, 3, 12, 12, 6}));
    EXPECT_EQ(g_appVersionMap,
              (AppVersionMapType{{0, {17, 17}}, {1, {12, 12}}, {2, {6, 6}}, {3, {6, 6}}}));
    for (const auto& [type, range] :
         AppVersionMapType{{0, {6, 17}}, {1, {6, 12}}, {2, {6, 6}}, {3, {6, 6}}})
        EXPECT_EQ(g_appMinMaxVersionMap.at(type), range);
    // A type without a row starts at the remote interface version; looking it up adds no row.
    const std::size_t rangeRows = g_appMinMaxVersionMap.size();
    for (unsigned type : {4u, 9u, kMax})
        EXPECT_EQ(State(AppVersionOption(type, 7)), (Fields{type, 7, 6, 6, 6}));
    EXPECT_TRUE(g_appVersionMap.size() == 4 && g_appMinMaxVersionMap.size() == rangeRows);
    // A further initializer restores the built-in rows and keeps added ones.
    g_appMinMaxVersionMap[1] = {0, 99};
    g_appMinMaxVersionMap[60] = {0, 0};
    AppVersionInitializer again;
    EXPECT_TRUE(g_appMinMaxVersionMap.at(1) == AppVersionPair(6, 12) &&
                g_appMinMaxVersionMap.count(60) == 1);
}

// Rows: type, client version, accepted, chosen version (8 is the special case for Numeric). The
// server version plays no part; a refusal leaves the chosen version as it was.
TEST(VersionPolicy, AcceptsOrRefusesAtEachTypesBoundaries) {
    const unsigned rows[][4] = {
        {0, 0, 1, 0},    {0, 8, 1, 8},          {0, 9, 1, 9}, {0, 3, 1, 3},  {0, 17, 1, 17},
        {0, 18, 1, 17},  {0, kMax, 1, 17},      {1, 0, 0, 0}, {1, 11, 0, 0}, {1, 12, 1, 12},
        {1, 13, 0, 0},   {1, kMax, 0, 0},       {2, 5, 0, 0}, {2, 6, 1, 6},  {2, 7, 0, 0},
        {2, kMax, 0, 0}, {3, 5, 0, 0},          {3, 6, 1, 6}, {3, 7, 0, 0},  {4, 0, 1, 0},
        {5, 1, 0, 0},    {kMax - 1, kMax, 0, 0}};
    for (const auto& row : rows)
        for (unsigned server : {0u, 6u, 17u, kMax}) {
            AppVersionOption option = MakeOption({row[0], 2, row[1], server, 12345});
            EXPECT_EQ(option.IsSupportedVersion(), row[2] == 1) << row[0] << " " << row[1];
            EXPECT_EQ(State(option), (Fields{row[0], 2, row[1], server, row[2] ? row[3] : 12345}));
            EXPECT_EQ(option.IsSpecialCaseOfNumericSupportByClient(), row[1] == 8);
        }
    // A VersionOption accepts a client no older than the server, and chooses the server's.
    for (unsigned client : {0u, 1u, 11u, 12u, 13u, kMax - 1, kMax})
        for (unsigned server : {0u, 1u, 11u, 12u, 13u, kMax - 1, kMax}) {
            VersionOption option(client, server, 777);
            EXPECT_EQ(option.IsSupportedVersion(), client >= server) << client << " " << server;
            EXPECT_EQ(option.m_chosenVersion, client >= server ? server : 777);
        }
}

TEST(VersionPolicy, AnUnknownTypeGetsAPermanentZeroRow) {
    ASSERT_TRUE(AppVersionOption::GetClientVersion(9) == 6 &&
                AppVersionOption::GetServerVersion(9) == 6 && g_appMinMaxVersionMap.count(9) == 0);
    AppVersionOption option(9, 2);
    EXPECT_FALSE(option.IsSupportedVersion());
    EXPECT_TRUE(g_appMinMaxVersionMap.at(9) == AppVersionPair(0, 0) &&
                g_appVersionMap.count(9) == 0);
    option.m_clientVersion = 0;
    EXPECT_TRUE(option.IsSupportedVersion() && option.m_chosenVersion == 0);
    // A known type reads its maximum from the table, or its built-in maximum when the row was
    // erased; no row is added for it.
    g_appMinMaxVersionMap[0] = {6, 14};
    option = MakeOption({0, 2, 30, 17, 6});
    EXPECT_TRUE(option.IsSupportedVersion() && option.m_chosenVersion == 14);
    g_appMinMaxVersionMap.erase(0);
    EXPECT_TRUE(option.IsSupportedVersion() && option.m_chosenVersion == 17 &&
                g_appMinMaxVersionMap.count(0) == 0);
    g_appMinMaxVersionMap[0] = {6, 17};
}

// An option whose own assignment records that it ran.
struct RecordingOption : AppVersionOption {
    using AppVersionOption::operator=;
    RecordingOption& operator=(const AppVersionOption& other) noexcept override {
        ++m_assignments;
        AppVersionOption::operator=(other);
        return *this;
    }
    int m_assignments = 0;
};

TEST(VersionOptionAssignment, BaseReferencesCopyTheBaseFieldsAndDispatchTheRest) {
    const AppVersionOption source = MakeOption({30, 40, 50, 60, 70});
    AppVersionOption target = MakeOption({3, 4, 5, 6, 7});
    VersionOption& asBase = target;
    asBase = source;  // through a base reference: the three base fields only
    EXPECT_EQ(State(target), (Fields{3, 4, 50, 60, 70}));
    target = VersionOption(1, 2, 3);  // from a plain VersionOption: the same
    EXPECT_EQ(State(target), (Fields{3, 4, 1, 2, 3}));
    static_cast<AppVersionOption&>(asBase) = source;  // all five
    EXPECT_EQ(State(target), State(source));
    ByteVector bytes;  // the byte and policy operations dispatch to the derived class
    static_cast<const VersionOption&>(MakeOption({1, 2, 12, 4, 5})).ToByteVector(bytes);
    EXPECT_EQ(asBase.FromByteVector(bytes.data()), bytes.data() + 20);
    EXPECT_EQ(State(target), (Fields{1, 2, 12, 4, 5}));
    target = source;
    EXPECT_EQ(asBase.FromByteVector(bytes.data(), bytes.data() + 20), bytes.data() + 20);
    EXPECT_EQ(State(target), (Fields{1, 2, 12, 4, 5}));
    EXPECT_TRUE(asBase.IsSupportedVersion() && target.m_chosenVersion == 12);  // type 1's policy
    SessionValueMap map;  // GetAppVersionOption assigns through the target's virtual assignment
    map.SetAppVersionOption(source);
    RecordingOption out;
    map.GetAppVersionOption(out);
    EXPECT_TRUE(out.m_assignments == 1 && State(out) == State(source));
}

TEST(ByteImages, AreLittleEndianWordsInTheirOrder) {
    ByteVector bytes = Words({77});  // earlier content stays in front
    AppVersionOption().ToByteVector(bytes);
    SessionValueMap().ToByteVector(bytes);  // an empty map: the option and a count of 0
    MakeOption({0x01020304, 7, 12, kMax, 8}).ToByteVector(bytes);  // the type and the call-level
    VersionOption(0x11223344, 13, 0).ToByteVector(bytes);          // version come first
    SessionValueMap map;  // the option, the count, then key and value of each entry in key order
    map.SetSessionValue(L"UID", L"u");
    map.SetSessionValue(L"pwd", L"p\U0001F600");
    map.ToByteVector(bytes);
    EXPECT_EQ(bytes,
              Words({77, 0,   2,    17,  17,         6,   0,       2, 17,  17,  6,   0, 0x01020304,
                     7,  12,  kMax, 8,   0x11223344, 13,  0,       0, 2,   17,  17,  6, 2,
                     3,  'p', 'w',  'd', 2,          'p', 0x1F600, 3, 'U', 'I', 'D', 1, 'u'}));
}

// Generated maps (keys from ASCII, Latin-1, Greek, Cyrillic, CJK and characters above U+FFFF,
// repeated in other cases) against a model keeping the first spelling and the last value; then
// read back whole and truncated, with their options alone too.
TEST(SessionValueMap, AgreesWithAModelAndReadsBackOverGeneratedValues) {
    std::mt19937 random(2024);
    const String pool =
        L"aBiIzZ_.=;\u00E9\u00C9\u03A3\u03C3\u03C2\u0416\u0436\u0130\u0131"
        L"\u4E2D\U0001F600\U0010FFFF\uFFFF\u00DF\u0178\u00FF\0"s;
    auto next = [&] {
        String text(random() % 7, L' ');
        for (wchar_t& unit : text) unit = pool[random() % pool.size()];
        return text;
    };
    auto word = [&] { return static_cast<unsigned>(random()); };
    SessionValueMap before;  // the previous round's map
    for (int round = 0; round < 200; ++round) {
        SessionValueMap source;
        std::map<String, std::pair<String, String>> model;  // lowered key: first spelling, value
        for (int i = 0; i < round % 10; ++i) {
            String key = model.empty() || word() % 3
                             ? next()
                             : std::next(model.begin(), word() % model.size())->second.first;
            for (wchar_t& unit : key)
                unit = word() % 2 ? BaseStringUtil::ToUpper(unit) : BaseStringUtil::ToLower(unit);
            const String value = next();
            source.SetSessionValue(key, value);
            model.try_emplace(BaseStringUtil::ToLower(key), key, value).first->second.second =
                value;
        }
        Entries entries;
        for (const auto& [lowered, entry] : model) entries.push_back(entry);
        const Fields option = {word(), word(), word(), word(), word()};
        source.SetAppVersionOption(MakeOption(option));
        ASSERT_EQ(State(source), std::pair(entries, option));
        ExpectReadBack(source, before);
        ExpectReadBack(MakeOption(option), MakeOption({1, 2, 3, 4, 5}));
        ExpectReadBack(VersionOption(option[0], option[2], option[4]), VersionOption(1, 2, 3));
        before = source;
    }
    // The error names the item, the bytes needed and those left.
    const ByteVector prefix = Words({1, 3, 12});
    xts::test::ExpectError([&] { before.FromByteVector(prefix.data(), prefix.data() + 10); },
                           kMsgTruncatedByteVector, {L"32-bit unsigned integer", L"4", L"2"});
}

// A declared entry count or string length far beyond the bytes present is refused after a
// handful of allocations, and the map is left as it was.
TEST(SessionValueMap, HugeDeclaredCountsAllocateOnlyForWhatIsPresent) {
    for (const ByteVector& stream : {Words({0, 2, 17, 17, 6, 0x7FFFFFFF, 1, 'a', 1, 'b'}),
                                     Words({0, 2, 17, 17, 6, 1, kMax, 'a'}),
                                     Words({0, 2, 17, 17, 6, 1, 1, 'k', 0x40000000, 'a'})}) {
        SessionValueMap map;
        map.SetSessionValue(L"kept", L"1");
        const xts::test::AllocationCounter allocations;
        EXPECT_EQ(ErrorCodeOf([&] { map.FromByteVector(stream.data(), End(stream)); }),
                  kMsgTruncatedByteVector);
        EXPECT_LT(allocations.Count(), 32u);
        EXPECT_EQ(State(map).first, (Entries{{L"kept", L"1"}}));
    }
}

TEST(SessionValueMap, KeysIgnoreCaseAndKeepTheirFirstSpelling) {
    SessionValueMap map;
    String value = L"untouched";
    map.SetSessionValue(L"Uid", L"a");
    map.SetSessionValue(L"UID", L"b");
    map.SetSessionValue(L"UID2", L"x");
    EXPECT_TRUE(!map.GetSessionValue(L"UI", value) && value == L"untouched");  // left alone
    EXPECT_TRUE(map.GetSessionValue(L"uId", value) && value == L"b");
    SessionValueList list = {{L"kept", L"1"}};  // GetAllValues appends after what the list holds
    map.GetAllValues(list);
    EXPECT_EQ(Entries(list.begin(), list.end()),
              (Entries{{L"kept", L"1"}, {L"Uid", L"b"}, {L"UID2", L"x"}}));
    // Reading stores entries as SetSessionValue: present ones stay, a repeated key keeps the
    // later value; a count below 1 reads no entries. Both readers stop after the entries.
    for (const unsigned count : {3u, 0u, kMax, 0x80000000u}) {
        const ByteVector stream = Words({1, 3,   12,  12,  12, count, 3, 'K', 'e', 'y', 1, '1',
                                         3, 'u', 'i', 'd', 1,  'n',   3, 'K', 'E', 'Y', 1, '2'});
        const unsigned char* end = count == 3 ? End(stream) : stream.data() + 24;
        SessionValueMap trusting(map), checked(map);
        EXPECT_TRUE(trusting.FromByteVector(stream.data()) == end &&
                    checked.FromByteVector(stream.data(), End(stream)) == end);
        const Entries entries = count == 3
                                    ? Entries{{L"Key", L"2"}, {L"Uid", L"n"}, {L"UID2", L"x"}}
                                    : State(map).first;
        EXPECT_TRUE(State(trusting) == State(checked) &&
                    State(checked) == std::pair(entries, Fields{1, 3, 12, 12, 12}))
            << count;
    }
}

// Keys fold by a fixed table, the same in every locale (in a Turkish locale towlower('I') is
// U+0131); a unit at or above 0x80000000 is a negative wchar_t.
TEST(SessionKeys, OrderByLoweredUnitsInEveryLocale) {
    // Groups of equal keys, in ascending order.
    // clang-format off
    const std::vector<String> ascending[] = {
        {L""}, {L"\x80000000"s}, {L"\0"s}, {L"_"}, {L"a"}, {L"a\0"s}, {L"AB"}, {L"abc"}, {L"abD"},
        {L"B"}, {L"I"}, {L"uid", L"UID"}, {L"Z"}, {L"\u00C9t\u00E9", L"\u00E9T\u00C9"}, {L"\u0131"},
        {L"\u03A3", L"\u03C3"}, {L"\u0416", L"\u0436"}, {L"\u0437"}, {L"\U0001F600"},
        {L"\U0001F600x", L"\U0001F600X"}, {L"\U0001F601"}};
    // clang-format on
    // The Turkish locale is compiled into a temporary folder when the system lacks it.
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("xts-session-keys-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    for (const auto& [language, codeset] :
         {std::pair<std::string, std::string>{"C", ""}, {"tr_TR", "UTF-8"}, {"C", "UTF-8"}}) {
        const locale_t locale = codeset.empty()
                                    ? newlocale(LC_CTYPE_MASK, "C", static_cast<locale_t>(0))
                                    : xts::test::MakeCtypeLocale(language, codeset, folder);
        ASSERT_NE(locale, static_cast<locale_t>(0)) << language << "." << codeset;
        uselocale(locale);
        // The locale is live: in Turkish the capital I lowers to the dotless i.
        EXPECT_EQ(std::towlower(L'I'), language == "tr_TR" ? L'\u0131' : L'i');
        for (std::size_t i = 0; i < std::size(ascending); ++i)
            for (std::size_t j = 0; j < std::size(ascending); ++j)
                for (const String& left : ascending[i])
                    for (const String& right : ascending[j])
                        EXPECT_EQ(ltstr()(left, right), i < j) << language << " " << i << " " << j;
        uselocale(LC_GLOBAL_LOCALE);
        freelocale(locale);
    }
    std::filesystem::remove_all(folder);
}

}  // namespace
