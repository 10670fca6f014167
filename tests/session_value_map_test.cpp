// Session values: the well-known keys, the case-insensitive key order, the
// map's operations against a simple model, its byte image, round trips over
// generated maps, and the bounds-checked reader on every truncated prefix.
#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "CountingAllocator.h"
#include "Utility/Client/SUCAppSupportMetrics.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace {

using Entries = std::vector<std::pair<String, String>>;

Entries AllValues(const SessionValueMap& map) {
    SessionValueList list;
    map.GetAllValues(list);
    return Entries(list.begin(), list.end());
}

std::array<unsigned int, 5> FieldsOf(const AppVersionOption& option) {
    return {option.m_appType, option.m_clientOdbcVersion, option.m_clientVersion,
            option.m_serverVersion, option.m_chosenVersion};
}

AppVersionOption MakeOption(unsigned int appType, unsigned int odbc, unsigned int client,
                            unsigned int server, unsigned int chosen) {
    AppVersionOption option(appType, odbc);
    option.m_clientVersion = client;
    option.m_serverVersion = server;
    option.m_chosenVersion = chosen;
    return option;
}

// Builds a stream item by item, in the byte-vector encoding.
struct StreamBuilder {
    ByteVector bytes;
    StreamBuilder& Option(const AppVersionOption& option) {
        option.ToByteVector(bytes);
        return *this;
    }
    StreamBuilder& Count(int32 count) {
        DataBlobUtil::ToByteVector(bytes, count);
        return *this;
    }
    StreamBuilder& Text(const String& text) {
        DataBlobUtil::ToByteVector(bytes, text);
        return *this;
    }
    StreamBuilder& Word(uint32 word) {
        DataBlobUtil::ToByteVector(bytes, word);
        return *this;
    }
};

ByteVector LittleEndianWords(std::initializer_list<unsigned int> words) {
    ByteVector out;
    for (unsigned int word : words)
        for (int shift = 0; shift < 32; shift += 8)
            out.push_back(static_cast<unsigned char>(word >> shift));
    return out;
}

// An exactly sized heap copy of a prefix, so that AddressSanitizer catches
// any read past its end.
struct ExactBuffer {
    ExactBuffer(const ByteVector& bytes, std::size_t size)
        : data(new unsigned char[size]), end(data.get() + size) {
        if (size != 0) std::memcpy(data.get(), bytes.data(), size);
    }
    std::unique_ptr<unsigned char[]> data;
    const unsigned char* end;
    const unsigned char* begin() const { return data.get(); }
};

template <class Read>
void ExpectTruncated(Read&& read) {
    try {
        read();
        ADD_FAILURE() << "the read of a truncated stream did not throw";
    } catch (const ErrorMessage& error) {
        EXPECT_EQ(error.GetCode(), kMsgTruncatedByteVector);
    }
}

// The key order written out: lower each unit, the first difference decides,
// a proper prefix sorts first.
bool ReferenceLess(const String& left, const String& right) {
    const std::size_t common = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < common; ++i) {
        const wchar_t a = BaseStringUtil::ToLower(left[i]);
        const wchar_t b = BaseStringUtil::ToLower(right[i]);
        if (a != b) return a < b;
    }
    return left.size() < right.size();
}

// Generates keys and values from a pool mixing ASCII, Latin-1, Greek and
// Cyrillic letters in both cases, CJK, characters above U+FFFF and a zero unit.
class TextGenerator {
  public:
    explicit TextGenerator(unsigned seed) : m_generator(seed) {}

    String Next(std::size_t maxLength) {
        static constexpr wchar_t kPool[] = {
            L'a',    L'B',     L'c',   L'D',   L'i',    L'I',   L'z',   L'Z',
            L'_',    L'.',     L'0',   L'9',   L'=',    L';',   0x00E9, 0x00C9,
            0x03A3,  0x03C3,   0x03C2, 0x0416, 0x0436,  0x0130, 0x0131, 0x4E2D,
            0x1F600, 0x10FFFF, 0x0,    0xFFFF, 0x1D11E, 0x00DF, 0x0178, 0x00FF};
        std::uniform_int_distribution<std::size_t> length(0, maxLength);
        std::uniform_int_distribution<std::size_t> pick(0, std::size(kPool) - 1);
        String text(length(m_generator), L' ');
        for (wchar_t& unit : text)
            unit = kPool[pick(m_generator)];
        return text;
    }
    // The same text with each letter's case flipped at random.
    String Recase(const String& text) {
        String out = text;
        std::bernoulli_distribution upper(0.5);
        for (wchar_t& unit : out)
            unit =
                upper(m_generator) ? BaseStringUtil::ToUpper(unit) : BaseStringUtil::ToLower(unit);
        return out;
    }
    bool Chance(double probability) {
        return std::bernoulli_distribution(probability)(m_generator);
    }
    std::mt19937& Engine() { return m_generator; }

  private:
    std::mt19937 m_generator;
};

TEST(SessionKeys, HaveTheirWellKnownValues) {
    const std::vector<std::pair<const String*, const wchar_t*>> keys = {
        {&g_UIDKEY, L"UID"},
        {&g_PWDKEY, L"PWD"},
        {&g_CATALOGKEY, L"CATALOG"},
        {&g_ERRORLANGKEY, L"XT_SESSION.WEBLANGUAGE"},
        {&g_INTERNALERRORLANGKEY, L"WEBLANGUAGE"},
        {&g_CLIENTMESSAGEFORMATKEY, L"XT_SESSION.ZEPS_CLIENT_MESSAGE_FORMAT"},
        {&g_INTERNALCLIENTMESSAGEFORMATKEY, L"ZEPS_CLIENT_MESSAGE_FORMAT"},
        {&g_DSNKEY, L"DSN"},
        {&g_REPKEY, L"REPOSITORY"},
        {&g_TENANTGUID, L"XT_SESSION.TENANTGUID"},
        {&g_TENANTSERVICE, L"XT_SESSION.TENANTSERVICE"},
        {&g_TENANTNAME, L"XT_SESSION.TENANTNAME"},
        {&g_SERVICENAME, L"XT_SESSION.SERVICENAME"},
        {&g_SERVICEINSTANCEKEY, L"XT_SESSION.SERVICEINSTANCEKEY"},
        {&g_USERLOCALE, L"XT_SESSION.USERLOCALE"},
        {&g_EQUALKEY, L"="},
        {&g_SEMICOLON, L";"},
    };
    for (const auto& [key, expected] : keys)
        EXPECT_EQ(*key, expected);
}

struct OrderRow {
    String left;
    String right;
    int expected;  // -1: left first, 0: the same key, 1: right first
};

class KeyOrder : public ::testing::TestWithParam<OrderRow> {};

TEST_P(KeyOrder, ComparesLoweredUnitsThenLength) {
    const OrderRow& row = GetParam();
    const ltstr less;
    EXPECT_EQ(less(row.left, row.right), row.expected < 0);
    EXPECT_EQ(less(row.right, row.left), row.expected > 0);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, KeyOrder,
    ::testing::Values(
        OrderRow{L"uid", L"UID", 0}, OrderRow{L"Uid", L"uID", 0}, OrderRow{L"", L"", 0},
        OrderRow{L"", L"a", -1}, OrderRow{L"ab", L"abc", -1}, OrderRow{L"AB", L"abc", -1},
        OrderRow{L"abc", L"abd", -1}, OrderRow{L"a", L"B", -1}, OrderRow{L"Z", L"a", 1},
        // '_' (0x5F) sorts after the upper-case letters but before the
        // lowered ones: 'Z' compares as 'z'.
        OrderRow{L"_", L"Z", -1}, OrderRow{L"\u00C9t\u00E9", L"\u00E9T\u00C9", 0},
        OrderRow{L"\u03A3", L"\u03C3", 0}, OrderRow{L"\u0416", L"\u0436", 0},
        OrderRow{L"\u0416", L"\u0437", -1}, OrderRow{L"\U0001F600", L"\U0001F601", -1},
        OrderRow{L"\U0001F600x", L"\U0001F600X", 0}, OrderRow{String(L"a\0b", 3), L"a", 1},
        OrderRow{String(L"a\0", 2), L"a", 1},
        // A unit at or above 0x80000000 is a negative wchar_t.
        OrderRow{String(1, static_cast<wchar_t>(0x80000000u)), String(1, L'\0'), -1}));

TEST(KeyOrder, AgreesWithLoweredComparisonOverGeneratedKeys) {
    TextGenerator text(5);
    const ltstr less;
    for (int i = 0; i < 5000; ++i) {
        const String left = text.Next(6);
        const String right = text.Chance(0.3) ? text.Recase(left) : text.Next(6);
        ASSERT_EQ(less(left, right), ReferenceLess(left, right));
        ASSERT_EQ(less(right, left), ReferenceLess(right, left));
        ASSERT_FALSE(less(left, left));
        ASSERT_FALSE(less(left, text.Recase(left)));
    }
}

TEST(KeyOrder, DoesNotDependOnTheProcessLocale) {
    const std::string saved = std::setlocale(LC_ALL, nullptr);
    for (const char* locale : {"C", "tr_TR.UTF-8", "C.UTF-8"}) {
        if (!std::setlocale(LC_ALL, locale)) continue;
        SCOPED_TRACE(locale);
        const ltstr less;
        // In a Turkish locale towlower('I') is U+0131; keys still fold as I = i.
        EXPECT_FALSE(less(L"UID", L"uid"));
        EXPECT_FALSE(less(L"uid", L"UID"));
        EXPECT_FALSE(less(L"\u03A3", L"\u03C3"));
        EXPECT_FALSE(less(L"\u03C3", L"\u03A3"));
        EXPECT_TRUE(less(L"I", L"\u0131"));
    }
    std::setlocale(LC_ALL, saved.c_str());
}

TEST(SessionValueMap, KeepsTheFirstSpellingOfAKey) {
    SessionValueMap map;
    map.SetSessionValue(L"Uid", L"a");
    map.SetSessionValue(L"UID", L"b");
    EXPECT_EQ(AllValues(map), (Entries{{L"Uid", L"b"}}));
    String value = L"untouched";
    EXPECT_TRUE(map.GetSessionValue(L"uId", value));
    EXPECT_EQ(value, L"b");
}

TEST(SessionValueMap, MissLeavesTheValueUntouched) {
    SessionValueMap map;
    String value = L"untouched";
    EXPECT_FALSE(map.GetSessionValue(g_UIDKEY, value));
    map.SetSessionValue(L"UID2", L"x");
    map.SetSessionValue(L"UI", L"y");
    EXPECT_FALSE(map.GetSessionValue(g_UIDKEY, value));
    EXPECT_EQ(value, L"untouched");
    map.SetSessionValue(g_UIDKEY, L"");
    EXPECT_TRUE(map.GetSessionValue(L"uid", value));
    EXPECT_EQ(value, L"");
}

TEST(SessionValueMap, GetAllValuesAppendsInKeyOrder) {
    SessionValueMap map;
    map.SetSessionValue(L"pwd", L"secret");
    map.SetSessionValue(L"DSN", L"sales");
    map.SetSessionValue(L"catalog", L"main");
    SessionValueList list = {{L"kept", L"1"}, {L"kept", L"2"}};
    map.GetAllValues(list);
    const Entries expected = {{L"kept", L"1"},
                              {L"kept", L"2"},
                              {L"catalog", L"main"},
                              {L"DSN", L"sales"},
                              {L"pwd", L"secret"}};
    EXPECT_EQ(Entries(list.begin(), list.end()), expected);
    map.GetAllValues(list);  // a second call appends again
    EXPECT_EQ(list.size(), 8u);
}

TEST(SessionValueMap, AgreesWithACaseInsensitiveModelOverGeneratedOperations) {
    TextGenerator text(11);
    for (int round = 0; round < 200; ++round) {
        SessionValueMap map;
        Entries model;  // first spelling, last value
        std::vector<String> keys;
        for (int step = 0; step < 30; ++step) {
            const String key = !keys.empty() && text.Chance(0.4)
                                   ? text.Recase(keys[text.Engine()() % keys.size()])
                                   : text.Next(5);
            keys.push_back(key);
            const String value = text.Next(8);
            map.SetSessionValue(key, value);
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
        ASSERT_EQ(AllValues(map), model);
        for (const String& key : keys) {
            String value;
            ASSERT_TRUE(map.GetSessionValue(text.Recase(key), value));
        }
    }
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

TEST(SessionValueMap, VersionOptionTravelsWithAllFiveFields) {
    SessionValueMap map;
    EXPECT_EQ(FieldsOf([&] {
                  AppVersionOption out(3, 3);
                  map.GetAppVersionOption(out);
                  return out;
              }()),
              FieldsOf(AppVersionOption()));
    const AppVersionOption in = MakeOption(1, 3, 12, 12, 12);
    map.SetAppVersionOption(in);
    RecordingOption out;
    map.GetAppVersionOption(out);
    EXPECT_EQ(out.m_assignments, 1);  // the derived assignment ran
    EXPECT_EQ(FieldsOf(out), FieldsOf(in));
}

TEST(SessionValueMap, CopiesTakeTheMapAndTheOption) {
    SessionValueMap source;
    source.SetSessionValue(L"UID", L"me");
    source.SetAppVersionOption(MakeOption(2, 4, 6, 6, 6));
    const SessionValueMap copy(source);
    SessionValueMap assigned;
    assigned.SetSessionValue(L"other", L"gone");
    assigned = source;
    for (const SessionValueMap* map : {&copy, static_cast<const SessionValueMap*>(&assigned)}) {
        EXPECT_EQ(AllValues(*map), (Entries{{L"UID", L"me"}}));
        AppVersionOption option;
        map->GetAppVersionOption(option);
        EXPECT_EQ(FieldsOf(option), FieldsOf(MakeOption(2, 4, 6, 6, 6)));
    }
}

TEST(SessionValueMap, EmptyMapIsTheOptionAndACountOfZero) {
    ByteVector bytes{0x77};
    SessionValueMap().ToByteVector(bytes);
    ByteVector expected{0x77};
    const ByteVector words = LittleEndianWords({0, 2, 17, 17, 6, 0});
    expected.insert(expected.end(), words.begin(), words.end());
    EXPECT_EQ(bytes, expected);

    SessionValueMap target;
    target.SetSessionValue(L"kept", L"1");
    EXPECT_EQ(target.FromByteVector(bytes.data() + 1), bytes.data() + bytes.size());
    EXPECT_EQ(AllValues(target), (Entries{{L"kept", L"1"}}));
    EXPECT_EQ(target.FromByteVector(bytes.data() + 1, bytes.data() + bytes.size()),
              bytes.data() + bytes.size());
    EXPECT_EQ(AllValues(target), (Entries{{L"kept", L"1"}}));
}

TEST(SessionValueMap, ByteImageListsEntriesInKeyOrder) {
    SessionValueMap map;
    map.SetSessionValue(L"UID", L"u");
    map.SetSessionValue(L"pwd", L"p\U0001F600");
    ByteVector bytes;
    map.ToByteVector(bytes);
    const ByteVector expected = LittleEndianWords({0, 2, 17, 17, 6,   // option
                                                   2,                 // entry count
                                                   3, 'p', 'w', 'd',  // key
                                                   2, 'p', 0x1F600,   // value
                                                   3, 'U', 'I', 'D', 1, 'u'});
    EXPECT_EQ(bytes, expected);
}

TEST(SessionValueMap, ReadingKeepsEntriesAndTheLaterValueOfARepeatedKey) {
    const AppVersionOption option = MakeOption(1, 3, 12, 12, 12);
    const ByteVector stream = StreamBuilder()
                                  .Option(option)
                                  .Count(3)
                                  .Text(L"Key")
                                  .Text(L"first")
                                  .Text(L"uid")
                                  .Text(L"new")
                                  .Text(L"KEY")
                                  .Text(L"second")
                                  .bytes;
    for (bool checked : {false, true}) {
        SCOPED_TRACE(checked ? "checked" : "trusting");
        SessionValueMap map;
        map.SetSessionValue(L"UID", L"old");
        map.SetSessionValue(L"catalog", L"main");
        const unsigned char* end = stream.data() + stream.size();
        EXPECT_EQ(
            checked ? map.FromByteVector(stream.data(), end) : map.FromByteVector(stream.data()),
            end);
        const Entries expected = {{L"catalog", L"main"}, {L"Key", L"second"}, {L"UID", L"new"}};
        EXPECT_EQ(AllValues(map), expected);
        AppVersionOption read;
        map.GetAppVersionOption(read);
        EXPECT_EQ(FieldsOf(read), FieldsOf(option));
    }
}

TEST(SessionValueMap, CountBelowOneReadsNoEntries) {
    for (int32 count : {0, -1, -5, std::numeric_limits<int32>::min()}) {
        SCOPED_TRACE(count);
        ByteVector stream = StreamBuilder().Option(AppVersionOption(2, 2)).Count(count).bytes;
        const std::size_t size = stream.size();
        stream.insert(stream.end(), {1, 0, 0, 0, 'x', 0, 0, 0});  // not part of the map
        for (bool checked : {false, true}) {
            SessionValueMap map;
            map.SetSessionValue(L"kept", L"1");
            const unsigned char* stop =
                checked ? map.FromByteVector(stream.data(), stream.data() + size)
                        : map.FromByteVector(stream.data());
            EXPECT_EQ(stop, stream.data() + size);
            EXPECT_EQ(AllValues(map), (Entries{{L"kept", L"1"}}));
            AppVersionOption read;
            map.GetAppVersionOption(read);
            EXPECT_EQ(read.m_appType, 2u);
        }
    }
}

TEST(SessionValueMap, RoundTripsOverGeneratedMaps) {
    TextGenerator text(2024);
    std::uniform_int_distribution<unsigned int> anyWord;
    for (int round = 0; round < 300; ++round) {
        SessionValueMap source;
        const int entries = round % 12;
        std::vector<String> keys;
        for (int i = 0; i < entries; ++i) {
            const String key = !keys.empty() && text.Chance(0.3)
                                   ? text.Recase(keys[text.Engine()() % keys.size()])
                                   : text.Next(7);
            keys.push_back(key);
            source.SetSessionValue(key, text.Next(12));
        }
        auto& engine = text.Engine();
        source.SetAppVersionOption(MakeOption(anyWord(engine), anyWord(engine), anyWord(engine),
                                              anyWord(engine), anyWord(engine)));
        ByteVector bytes;
        source.ToByteVector(bytes);

        SessionValueMap trusting;
        SessionValueMap checked;
        ASSERT_EQ(trusting.FromByteVector(bytes.data()), bytes.data() + bytes.size());
        ASSERT_EQ(checked.FromByteVector(bytes.data(), bytes.data() + bytes.size()),
                  bytes.data() + bytes.size());
        AppVersionOption sourceOption;
        source.GetAppVersionOption(sourceOption);
        for (const SessionValueMap* read : {&trusting, &checked}) {
            ASSERT_EQ(AllValues(*read), AllValues(source));
            AppVersionOption option;
            read->GetAppVersionOption(option);
            ASSERT_EQ(FieldsOf(option), FieldsOf(sourceOption));
            ByteVector again;
            read->ToByteVector(again);
            ASSERT_EQ(again, bytes);
        }
    }
}

TEST(SessionValueMap, CheckedReaderRejectsEveryTruncatedPrefix) {
    SessionValueMap source;
    source.SetSessionValue(L"UID", L"\u00E9l\u00E8ve");
    source.SetSessionValue(L"pwd", L"");
    source.SetSessionValue(L"XT_SESSION.USERLOCALE", L"\U0001F600\u4E2D");
    source.SetSessionValue(L"", L"empty key");
    source.SetAppVersionOption(MakeOption(1, 3, 12, 12, 12));
    ByteVector stream;
    source.ToByteVector(stream);

    SessionValueMap before;
    before.SetSessionValue(L"uid", L"old");
    before.SetSessionValue(L"kept", L"1");
    before.SetAppVersionOption(MakeOption(2, 9, 6, 6, 6));
    const Entries beforeEntries = AllValues(before);

    for (std::size_t length = 0; length < stream.size(); ++length) {
        SCOPED_TRACE("prefix of " + std::to_string(length) + " bytes");
        const ExactBuffer prefix(stream, length);
        SessionValueMap map(before);
        ExpectTruncated([&] { map.FromByteVector(prefix.begin(), prefix.end); });
        EXPECT_EQ(AllValues(map), beforeEntries);
        AppVersionOption option;
        map.GetAppVersionOption(option);
        EXPECT_EQ(FieldsOf(option), FieldsOf(MakeOption(2, 9, 6, 6, 6)));
    }
    const ExactBuffer whole(stream, stream.size());
    SessionValueMap map(before);
    EXPECT_EQ(map.FromByteVector(whole.begin(), whole.end), whole.end);
    const Entries expected = {{L"", L"empty key"},
                              {L"kept", L"1"},
                              {L"pwd", L""},
                              {L"uid", L"\u00E9l\u00E8ve"},
                              {L"XT_SESSION.USERLOCALE", L"\U0001F600\u4E2D"}};
    EXPECT_EQ(AllValues(map), expected);
}

TEST(SessionValueMap, HugeDeclaredCountsAllocateOnlyForWhatIsPresent) {
    const ByteVector hugeEntryCount = StreamBuilder()
                                          .Option(AppVersionOption())
                                          .Count(std::numeric_limits<int32>::max())
                                          .Text(L"a")
                                          .Text(L"b")
                                          .bytes;
    const ByteVector hugeKey =
        StreamBuilder().Option(AppVersionOption()).Count(1).Word(0xFFFFFFFF).Word('a').bytes;
    const ByteVector hugeValue = StreamBuilder()
                                     .Option(AppVersionOption())
                                     .Count(1)
                                     .Text(L"k")
                                     .Word(0x40000000)
                                     .Word('a')
                                     .bytes;
    for (const ByteVector* stream : {&hugeEntryCount, &hugeKey, &hugeValue}) {
        const ExactBuffer buffer(*stream, stream->size());
        SessionValueMap map;
        map.SetSessionValue(L"kept", L"1");
        const xts::test::AllocationCounter allocations;
        ExpectTruncated([&] { map.FromByteVector(buffer.begin(), buffer.end); });
        // A handful for the strings read and the error's own messages; no
        // storage in proportion to the declared counts.
        EXPECT_LT(allocations.Count(), 32u);
        EXPECT_EQ(AllValues(map), (Entries{{L"kept", L"1"}}));
    }
}

}  // namespace
