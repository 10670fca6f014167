// Session options and values: the version tables and each application type's
// policy, assignment through base references, byte images, round trips and
// truncated prefixes over generated values, and the case-insensitive map.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cwctype>
#include <filesystem>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "CountingAllocator.h"
#include "TranscodeTestSupport.h"
#include "Utility/Client/SUCAppSupportMetrics.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace {

using namespace std::string_literals;

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

ByteVector Words(std::initializer_list<unsigned> words) {  // little-endian 32-bit words
    ByteVector out;
    for (unsigned word : words)
        for (int shift = 0; shift < 32; shift += 8)
            out.push_back(static_cast<unsigned char>(word >> shift));
    return out;
}

template <class Action>
ErrorMessage CaughtError(Action&& action) {
    try {
        action();
    } catch (const ErrorMessage& error) {
        return error;
    }
    return ErrorMessage(__FILE__, __LINE__, 0);
}

// Writes `source` and reads it back with both readers (which stop after their
// own items); then every proper prefix, copied to an exactly sized heap buffer,
// read into a copy of `before` throws 46302 and leaves that copy unchanged.
template <class T>
void ExpectReadBack(const T& source, const T& before) {
    ByteVector bytes;
    source.ToByteVector(bytes);
    const std::size_t size = bytes.size();
    bytes.push_back(0xFF);
    T trusting, checked;
    EXPECT_EQ(trusting.FromByteVector(bytes.data()), bytes.data() + size);
    EXPECT_EQ(checked.FromByteVector(bytes.data(), bytes.data() + size + 1), bytes.data() + size);
    EXPECT_TRUE(State(trusting) == State(source) && State(checked) == State(source));
    for (std::size_t length = 0; length < size; ++length) {
        const std::unique_ptr<unsigned char[]> prefix(new unsigned char[length]);
        std::copy_n(bytes.begin(), length, prefix.get());
        T target = before;
        const ErrorMessage error =
            CaughtError([&] { target.FromByteVector(prefix.get(), prefix.get() + length); });
        EXPECT_TRUE(error.GetCode() == kMsgTruncatedByteVector && State(target) == State(before))
            << length;
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

// Rows: type, client version, accepted, chosen version. The server version
// plays no part; a refusal leaves the chosen version as it was.
TEST(VersionPolicy, AcceptsOrRefusesAtEachTypesBoundaries) {
    const unsigned rows[][4] = {
        {0, 0, 1, 0},    {0, 3, 1, 3},     {0, 6, 1, 6},          {0, 16, 1, 16}, {0, 17, 1, 17},
        {0, 18, 1, 17},  {0, kMax, 1, 17}, {1, 0, 0, 0},          {1, 6, 0, 0},   {1, 11, 0, 0},
        {1, 12, 1, 12},  {1, 13, 0, 0},    {1, kMax, 0, 0},       {2, 0, 0, 0},   {2, 5, 0, 0},
        {2, 6, 1, 6},    {2, 7, 0, 0},     {2, kMax, 0, 0},       {3, 0, 0, 0},   {3, 5, 0, 0},
        {3, 6, 1, 6},    {3, 7, 0, 0},     {3, kMax, 0, 0},       {4, 0, 1, 0},   {5, 1, 0, 0},
        {1000, 6, 0, 0}, {kMax, 0, 1, 0},  {kMax - 1, kMax, 0, 0}};
    for (const auto& row : rows)
        for (unsigned server : {0u, 6u, 17u, kMax}) {
            AppVersionOption option = MakeOption({row[0], 2, row[1], server, 12345});
            EXPECT_EQ(option.IsSupportedVersion(), row[2] == 1)
                << row[0] << " " << row[1] << " " << server;
            EXPECT_EQ(State(option), (Fields{row[0], 2, row[1], server, row[2] ? row[3] : 12345}));
        }
    // VersionOption (client, server, accepted): the client must not be older; the server version is
    // chosen.
    const unsigned baseRows[][3] = {{11, 12, 0},         {12, 12, 1},    {13, 12, 1},
                                    {0, 0, 1},           {0, 1, 0},      {kMax, 0, 1},
                                    {kMax - 1, kMax, 0}, {kMax, kMax, 1}};
    for (const auto& row : baseRows) {
        VersionOption option(row[0], row[1], 777);
        EXPECT_EQ(option.IsSupportedVersion(), row[2] == 1) << row[0] << " " << row[1];
        EXPECT_EQ(option.m_chosenVersion, row[2] ? row[1] : 777);
    }
    for (unsigned version : {0u, 7u, 8u, 9u, 12u, 13u, kMax})
        EXPECT_EQ(MakeOption({0, 2, version, 8, 0}).IsSpecialCaseOfNumericSupportByClient(),
                  version == 8);
}

TEST(VersionPolicy, AnUnknownTypeGetsAPermanentZeroRow) {
    EXPECT_TRUE(AppVersionOption::GetClientVersion(9) == 6 &&
                AppVersionOption::GetServerVersion(9) == 6);
    ASSERT_EQ(g_appMinMaxVersionMap.count(9), 0u);
    AppVersionOption option(9, 2);
    EXPECT_FALSE(option.IsSupportedVersion());
    EXPECT_TRUE(g_appMinMaxVersionMap.at(9) == AppVersionPair(0, 0) &&
                g_appVersionMap.count(9) == 0);
    option.m_clientVersion = 0;
    EXPECT_TRUE(option.IsSupportedVersion() && option.m_chosenVersion == 0);
    // A known type reads its maximum from the table, or its built-in maximum
    // when the row was erased; no row is added for it.
    g_appMinMaxVersionMap[0] = {6, 14};
    option = MakeOption({0, 2, 30, 17, 6});
    EXPECT_TRUE(option.IsSupportedVersion() && option.m_chosenVersion == 14);
    g_appMinMaxVersionMap.erase(0);
    EXPECT_TRUE(option.IsSupportedVersion() && option.m_chosenVersion == 17 &&
                g_appMinMaxVersionMap.count(0) == 0);
    g_appMinMaxVersionMap[0] = {6, 17};
}

// An option whose own assignment records that it ran.
class RecordingOption : public AppVersionOption {
public:
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
    ByteVector bytes{0xEE};  // earlier content stays in front
    AppVersionOption().ToByteVector(bytes);
    EXPECT_EQ(bytes,
              (ByteVector{0xEE, 0, 0, 0, 0, 2, 0, 0, 0, 17, 0, 0, 0, 17, 0, 0, 0, 6, 0, 0, 0}));
    bytes.clear();
    // The type and the call-level version come first.
    MakeOption({0x01020304, 7, 12, kMax, 8}).ToByteVector(bytes);
    VersionOption(0x11223344, 13, 0).ToByteVector(bytes);
    EXPECT_EQ(bytes, Words({0x01020304, 7, 12, kMax, 8, 0x11223344, 13, 0}));
    SessionValueMap map;  // the option, the count, then key and value of each entry in key order
    map.SetSessionValue(L"UID", L"u");
    map.SetSessionValue(L"pwd", L"p\U0001F600");
    bytes.clear();
    map.ToByteVector(bytes);
    EXPECT_EQ(bytes, Words({0, 2, 17, 17, 6, 2, 3, 'p', 'w', 'd', 2, 'p', 0x1F600, 3, 'U', 'I', 'D',
                            1, 'u'}));
    bytes.clear();  // an empty map is the option and a count of 0; reading it back adds nothing
    SessionValueMap().ToByteVector(bytes);
    EXPECT_EQ(bytes, Words({0, 2, 17, 17, 6, 0}));
    const auto before = State(map);
    EXPECT_EQ(map.FromByteVector(bytes.data(), bytes.data() + 24), bytes.data() + 24);
    EXPECT_EQ(State(map), before);
}

// The key order written out: lower each unit, the first difference decides, a proper prefix first.
bool ReferenceLess(const String& left, const String& right) {
    for (std::size_t i = 0; i < std::min(left.size(), right.size()); ++i)
        if (BaseStringUtil::ToLower(left[i]) != BaseStringUtil::ToLower(right[i]))
            return BaseStringUtil::ToLower(left[i]) < BaseStringUtil::ToLower(right[i]);
    return left.size() < right.size();
}

// Generated maps (keys from ASCII, Latin-1, Greek, Cyrillic, CJK and
// characters above U+FFFF, repeated in other cases) against a model keeping
// the first spelling and the last value; then read back whole and truncated,
// with their options alone too.
TEST(SessionValueMap, AgreesWithAModelAndReadsBackOverGeneratedValues) {
    std::mt19937 random(2024);
    const String pool =
        L"aBiIzZ_.=;\u00E9\u00C9\u03A3\u03C3\u03C2\u0416\u0436\u0130\u0131\u4E2D\U0001F600\U0010FFFF\uFFFF\u00DF\u0178\u00FF"s +
        L'\0';
    auto next = [&] {
        String text(random() % 7, L' ');
        for (wchar_t& unit : text) unit = pool[random() % pool.size()];
        return text;
    };
    auto word = [&] { return static_cast<unsigned>(random()); };
    SessionValueMap before;
    before.SetSessionValue(L"uid", L"old");
    before.SetAppVersionOption(MakeOption({2, 9, 6, 6, 6}));
    for (int round = 0; round < 200; ++round) {
        SessionValueMap source;
        Entries model;
        for (int i = 0; i < round % 10; ++i) {
            String key = model.empty() || word() % 3 ? next() : model[word() % model.size()].first;
            for (wchar_t& unit : key)
                unit = word() % 2 ? BaseStringUtil::ToUpper(unit) : BaseStringUtil::ToLower(unit);
            const String value = next();
            source.SetSessionValue(key, value);
            const auto found = std::find_if(model.begin(), model.end(), [&](const auto& entry) {
                return BaseStringUtil::EqualsNoCase(entry.first, key);
            });
            if (found == model.end())
                model.emplace_back(key, value);
            else
                found->second = value;
        }
        std::sort(model.begin(), model.end(),
                  [](const auto& a, const auto& b) { return ReferenceLess(a.first, b.first); });
        const Fields option = {word(), word(), word(), word(), word()};
        source.SetAppVersionOption(MakeOption(option));
        ASSERT_EQ(State(source), std::pair(model, option));
        ExpectReadBack(source, before);
        ExpectReadBack(MakeOption(option), MakeOption({1, 2, 3, 4, 5}));
        ExpectReadBack(VersionOption(option[0], option[2], option[4]), VersionOption(1, 2, 3));
    }
    AppVersionOption option;  // the error names the item, the bytes needed and those left
    const ByteVector prefix = Words({1, 3, 12});
    const ErrorMessage error =
        CaughtError([&] { option.FromByteVector(prefix.data(), prefix.data() + 10); });
    EXPECT_EQ(error.GetArguments(),
              (std::vector<XTString>{L"32-bit unsigned integer", L"4", L"2"}));
}

// A declared entry count or string length far beyond the bytes present is
// refused after a handful of allocations, and the map is left as it was.
TEST(SessionValueMap, HugeDeclaredCountsAllocateOnlyForWhatIsPresent) {
    for (const ByteVector& stream : {Words({0, 2, 17, 17, 6, 0x7FFFFFFF, 1, 'a', 1, 'b'}),
                                     Words({0, 2, 17, 17, 6, 1, kMax, 'a'}),
                                     Words({0, 2, 17, 17, 6, 1, 1, 'k', 0x40000000, 'a'})}) {
        const std::unique_ptr<unsigned char[]> buffer(new unsigned char[stream.size()]);
        std::copy(stream.begin(), stream.end(), buffer.get());
        SessionValueMap map;
        map.SetSessionValue(L"kept", L"1");
        const xts::test::AllocationCounter allocations;
        const int32 code = CaughtError([&] {
                               map.FromByteVector(buffer.get(), buffer.get() + stream.size());
                           }).GetCode();
        EXPECT_TRUE(code == kMsgTruncatedByteVector && allocations.Count() < 32);
        EXPECT_EQ(State(map).first, (Entries{{L"kept", L"1"}}));
    }
}

TEST(SessionValueMap, KeysIgnoreCaseAndKeepTheirFirstSpelling) {
    SessionValueMap map;
    String value = L"untouched";
    map.SetSessionValue(L"Uid", L"a");
    map.SetSessionValue(L"UID", L"b");
    map.SetSessionValue(L"UID2", L"x");
    EXPECT_FALSE(map.GetSessionValue(L"UI", value));
    EXPECT_EQ(value, L"untouched");  // a miss leaves the value alone
    EXPECT_TRUE(map.GetSessionValue(L"uId", value));
    EXPECT_EQ(value, L"b");
    SessionValueList list = {{L"kept", L"1"}};  // GetAllValues appends after what the list holds
    map.GetAllValues(list);
    EXPECT_EQ(Entries(list.begin(), list.end()),
              (Entries{{L"kept", L"1"}, {L"Uid", L"b"}, {L"UID2", L"x"}}));
    // Reading stores entries as SetSessionValue: present ones stay, a repeated key keeps the later
    // value.
    ByteVector stream = Words({1, 3,   12,  12,  12, 3,   3, 'K', 'e', 'y', 1, '1',
                               3, 'u', 'i', 'd', 1,  'n', 3, 'K', 'E', 'Y', 1, '2'});
    for (const bool checked : {false, true}) {
        SessionValueMap read(map);
        const unsigned char* end = stream.data() + stream.size();
        EXPECT_EQ(
            checked ? read.FromByteVector(stream.data(), end) : read.FromByteVector(stream.data()),
            end);
        EXPECT_EQ(State(read), std::pair(Entries{{L"Key", L"2"}, {L"Uid", L"n"}, {L"UID2", L"x"}},
                                         Fields{1, 3, 12, 12, 12}));
    }
    // A count below 1 reads no entries.
    for (const int32 count : {0, -1, std::numeric_limits<int32>::min()}) {
        stream = Words({2, 2, 6, 6, 6, static_cast<unsigned>(count), 1, 'x', 1, 'y'});
        SessionValueMap read(map);
        EXPECT_TRUE(read.FromByteVector(stream.data(), stream.data() + 40) == stream.data() + 24 &&
                    read.FromByteVector(stream.data()) == stream.data() + 24);
        EXPECT_EQ(State(read), std::pair(State(map).first, Fields{2, 2, 6, 6, 6}));
    }
}

// Keys fold by a fixed table, the same in every locale (in a Turkish locale
// towlower('I') is U+0131); a unit at or above 0x80000000 is a negative wchar_t.
TEST(SessionKeys, OrderByLoweredUnitsInEveryLocale) {
    const String ascending[] = {
        L"",           L"\x80000000"s,   L"\0"s,       L"_",      L"a",      L"a\0"s,
        L"AB",         L"abc",           L"abD",       L"B",      L"I",      L"uid",
        L"Z",          L"\u00C9t\u00E9", L"\u0131",    L"\u03A3", L"\u0416", L"\u0437",
        L"\U0001F600", L"\U0001F600x",   L"\U0001F601"};
    const String samePairs[] = {L"uid",         L"UID",        L"\u00C9t\u00E9", L"\u00E9T\u00C9",
                                L"\u03A3",      L"\u03C3",     L"\u0416",        L"\u0436",
                                L"\U0001F600x", L"\U0001F600X"};
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
                EXPECT_EQ(ltstr()(ascending[i], ascending[j]), i < j)
                    << language << " " << i << " " << j;
        for (std::size_t i = 0; i < std::size(samePairs); i += 2)
            EXPECT_TRUE(!ltstr()(samePairs[i], samePairs[i + 1]) &&
                        !ltstr()(samePairs[i + 1], samePairs[i]));
        uselocale(LC_GLOBAL_LOCALE);
        freelocale(locale);
    }
    std::filesystem::remove_all(folder);
}

}  // namespace
