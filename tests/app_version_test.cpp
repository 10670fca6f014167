// Version options: the version tables, each application type's policy at its
// boundaries, the byte images, round trips, bounds-checked readers on every
// truncated prefix, and the assignment semantics through base references.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Utility/Client/SUCAppSupportMetrics.h"
#include "Utility/Generic/SUGErrorMessage.h"

namespace {

// Built by this program's static initialiser: the library's tables are
// already filled by then.
const AppVersionOption g_optionBuiltAtLoad;
const AppVersionOption g_nativeOptionBuiltAtLoad(kAppTypeNativeApiClient, 3);

constexpr unsigned int kMax = std::numeric_limits<unsigned int>::max();

using Fields = std::array<unsigned int, 5>;

Fields FieldsOf(const AppVersionOption& option) {
    return {option.m_appType, option.m_clientOdbcVersion, option.m_clientVersion,
            option.m_serverVersion, option.m_chosenVersion};
}

AppVersionOption MakeOption(const Fields& fields) {
    AppVersionOption option;
    option.m_appType = fields[0];
    option.m_clientOdbcVersion = fields[1];
    option.m_clientVersion = fields[2];
    option.m_serverVersion = fields[3];
    option.m_chosenVersion = fields[4];
    return option;
}

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
ErrorMessage ExpectTruncated(Read&& read) {
    try {
        read();
    } catch (const ErrorMessage& error) {
        EXPECT_EQ(error.GetCode(), kMsgTruncatedByteVector);
        return error;
    }
    ADD_FAILURE() << "the read of a truncated stream did not throw";
    return ErrorMessage(__FILE__, __LINE__, 0);
}

TEST(AppVersionTables, HoldExactlyTheFourBuiltInRows) {
    const AppVersionMapType expectedVersions = {
        {0, {17, 17}}, {1, {12, 12}}, {2, {6, 6}}, {3, {6, 6}}};
    EXPECT_EQ(g_appVersionMap, expectedVersions);
    // Other tests add (0, 0) rows for unknown types; the built-in rows stay.
    const AppVersionMapType expectedRanges = {{0, {6, 17}}, {1, {6, 12}}, {2, {6, 6}}, {3, {6, 6}}};
    for (const auto& [appType, range] : expectedRanges) {
        ASSERT_EQ(g_appMinMaxVersionMap.count(appType), 1u) << appType;
        EXPECT_EQ(g_appMinMaxVersionMap.at(appType), range) << appType;
    }
    EXPECT_EQ(xTS_RemoteInterfaceDefn::GetRemoteInterfaceVersion(), 6u);
}

TEST(AppVersionTables, AreFilledBeforeStaticInitialisersOfClients) {
    EXPECT_EQ(FieldsOf(g_optionBuiltAtLoad), (Fields{0, 2, 17, 17, 6}));
    EXPECT_EQ(FieldsOf(g_nativeOptionBuiltAtLoad), (Fields{1, 3, 12, 12, 6}));
}

TEST(AppVersionTables, AFurtherInitializerRestoresTheRowsAndKeepsAddedOnes) {
    g_appMinMaxVersionMap[1] = {0, 99};
    g_appMinMaxVersionMap[60] = {0, 0};
    AppVersionInitializer again;
    EXPECT_EQ(g_appMinMaxVersionMap.at(1), AppVersionPair(6, 12));
    EXPECT_EQ(g_appMinMaxVersionMap.count(60), 1u);
    EXPECT_EQ(g_appVersionMap.size(), 4u);
}

struct StartingVersionRow {
    unsigned int appType;
    unsigned int clientVersion;
    unsigned int serverVersion;
};

class StartingVersions : public ::testing::TestWithParam<StartingVersionRow> {};

TEST_P(StartingVersions, ComeFromTheTableOrTheRemoteInterfaceVersion) {
    const StartingVersionRow& row = GetParam();
    const std::size_t rangeRows = g_appMinMaxVersionMap.size();
    EXPECT_EQ(AppVersionOption::GetClientVersion(row.appType), row.clientVersion);
    EXPECT_EQ(AppVersionOption::GetServerVersion(row.appType), row.serverVersion);
    const AppVersionOption option(row.appType, 7);
    EXPECT_EQ(FieldsOf(option), (Fields{row.appType, 7, row.clientVersion, row.serverVersion, 6}));
    // Looking versions up never adds a row.
    EXPECT_EQ(g_appVersionMap.size(), 4u);
    EXPECT_EQ(g_appMinMaxVersionMap.size(), rangeRows);
}

INSTANTIATE_TEST_SUITE_P(EveryType, StartingVersions,
                         ::testing::Values(StartingVersionRow{0, 17, 17},
                                           StartingVersionRow{1, 12, 12},
                                           StartingVersionRow{2, 6, 6}, StartingVersionRow{3, 6, 6},
                                           StartingVersionRow{4, 6, 6},
                                           StartingVersionRow{kMax, 6, 6}));

TEST(AppVersionOption, DefaultIsTheOdbcDriverAtItsStartingVersions) {
    const AppVersionOption option;
    EXPECT_EQ(FieldsOf(option), (Fields{kAppTypeOdbcDriver, 2, 17, 17, 6}));
    EXPECT_EQ(kAppTypeOdbcDriver, 0u);
    EXPECT_EQ(kAppTypeNativeApiClient, 1u);
    EXPECT_EQ(kAppTypeRemoteInterfaceClient, 2u);
    EXPECT_EQ(kAppTypeServerService, 3u);
}

struct PolicyRow {
    unsigned int appType;
    unsigned int clientVersion;
    bool accepted;
    unsigned int chosenVersion;  // when accepted
};

void PrintTo(const PolicyRow& row, std::ostream* out) {
    *out << "type " << row.appType << ", client " << row.clientVersion;
}

class VersionPolicy : public ::testing::TestWithParam<PolicyRow> {};

TEST_P(VersionPolicy, AcceptsOrRefusesAtTheBoundaries) {
    const PolicyRow& row = GetParam();
    constexpr unsigned int kUntouched = 12345;
    // The server version plays no part in the per-type policies.
    for (unsigned int serverVersion : {0u, 6u, 17u, kMax}) {
        AppVersionOption option(row.appType, 2);
        option.m_clientVersion = row.clientVersion;
        option.m_serverVersion = serverVersion;
        option.m_chosenVersion = kUntouched;
        EXPECT_EQ(option.IsSupportedVersion(), row.accepted) << "server " << serverVersion;
        EXPECT_EQ(option.m_chosenVersion, row.accepted ? row.chosenVersion : kUntouched);
        EXPECT_EQ(option.m_clientVersion, row.clientVersion);
        EXPECT_EQ(option.m_serverVersion, serverVersion);
    }
}

INSTANTIATE_TEST_SUITE_P(
    EveryType, VersionPolicy,
    ::testing::Values(
        // Type 0: no lower bound, chosen capped at 17.
        PolicyRow{0, 0, true, 0}, PolicyRow{0, 3, true, 3}, PolicyRow{0, 5, true, 5},
        PolicyRow{0, 6, true, 6}, PolicyRow{0, 16, true, 16}, PolicyRow{0, 17, true, 17},
        PolicyRow{0, 18, true, 17}, PolicyRow{0, kMax, true, 17},
        // Type 1: exactly 12.
        PolicyRow{1, 0, false, 0}, PolicyRow{1, 5, false, 0}, PolicyRow{1, 6, false, 0},
        PolicyRow{1, 11, false, 0}, PolicyRow{1, 12, true, 12}, PolicyRow{1, 13, false, 0},
        PolicyRow{1, kMax, false, 0},
        // Types 2 and 3: within [6, 6].
        PolicyRow{2, 0, false, 0}, PolicyRow{2, 5, false, 0}, PolicyRow{2, 6, true, 6},
        PolicyRow{2, 7, false, 0}, PolicyRow{2, kMax, false, 0}, PolicyRow{3, 0, false, 0},
        PolicyRow{3, 5, false, 0}, PolicyRow{3, 6, true, 6}, PolicyRow{3, 7, false, 0},
        PolicyRow{3, kMax, false, 0},
        // Unknown types get a (0, 0) row: only client version 0 passes.
        PolicyRow{4, 0, true, 0}, PolicyRow{5, 1, false, 0}, PolicyRow{1000, 6, false, 0},
        PolicyRow{kMax, 0, true, 0}, PolicyRow{kMax - 1, kMax, false, 0}));

TEST(AppVersionOption, NativeClientFollowsTheWorkedExample) {
    AppVersionOption option(1, 3);
    EXPECT_EQ(FieldsOf(option), (Fields{1, 3, 12, 12, 6}));
    EXPECT_TRUE(option.IsSupportedVersion());
    EXPECT_EQ(option.m_chosenVersion, 12u);
    option.m_clientVersion = 11;
    EXPECT_FALSE(option.IsSupportedVersion());
    EXPECT_EQ(option.m_chosenVersion, 12u);
}

TEST(AppVersionOption, UnknownTypeQueryLeavesAPermanentZeroRow) {
    constexpr unsigned int kType = 9;
    ASSERT_EQ(g_appMinMaxVersionMap.count(kType), 0u);
    EXPECT_EQ(AppVersionOption::GetClientVersion(kType), 6u);
    EXPECT_EQ(AppVersionOption::GetServerVersion(kType), 6u);
    EXPECT_EQ(g_appMinMaxVersionMap.count(kType), 0u);
    EXPECT_EQ(g_appVersionMap.count(kType), 0u);

    AppVersionOption option(kType, 2);
    EXPECT_EQ(option.m_clientVersion, 6u);
    EXPECT_FALSE(option.IsSupportedVersion());
    ASSERT_EQ(g_appMinMaxVersionMap.count(kType), 1u);
    EXPECT_EQ(g_appMinMaxVersionMap.at(kType), AppVersionPair(0, 0));
    EXPECT_EQ(g_appVersionMap.count(kType), 0u);  // the starting versions are unaffected
    EXPECT_EQ(AppVersionOption::GetClientVersion(kType), 6u);

    option.m_clientVersion = 0;
    EXPECT_TRUE(option.IsSupportedVersion());
    EXPECT_EQ(option.m_chosenVersion, 0u);
    EXPECT_EQ(g_appMinMaxVersionMap.at(kType), AppVersionPair(0, 0));
}

TEST(AppVersionOption, KnownTypeWithoutItsRangeRowFallsBackToTheBuiltInMaximum) {
    const AppVersionPair saved = g_appMinMaxVersionMap.at(0);
    g_appMinMaxVersionMap.erase(0);
    AppVersionOption option;
    option.m_clientVersion = 30;
    EXPECT_TRUE(option.IsSupportedVersion());
    EXPECT_EQ(option.m_chosenVersion, 17u);
    EXPECT_EQ(g_appMinMaxVersionMap.count(0), 0u);  // no row added for the known types
    g_appMinMaxVersionMap[0] = saved;
}

TEST(AppVersionOption, CapsTheChosenVersionAtAnAdjustedMaximum) {
    g_appMinMaxVersionMap[0] = {6, 14};
    AppVersionOption option;
    EXPECT_TRUE(option.IsSupportedVersion());
    EXPECT_EQ(option.m_chosenVersion, 14u);
    g_appMinMaxVersionMap[0] = {6, 17};
}

struct BasePolicyRow {
    unsigned int clientVersion;
    unsigned int serverVersion;
    bool accepted;
};

void PrintTo(const BasePolicyRow& row, std::ostream* out) {
    *out << "client " << row.clientVersion << ", server " << row.serverVersion;
}

class BaseVersionPolicy : public ::testing::TestWithParam<BasePolicyRow> {};

TEST_P(BaseVersionPolicy, ChoosesTheServerVersionWhenTheClientIsNotOlder) {
    const BasePolicyRow& row = GetParam();
    VersionOption option(row.clientVersion, row.serverVersion, 777);
    EXPECT_EQ(option.IsSupportedVersion(), row.accepted);
    EXPECT_EQ(option.m_chosenVersion, row.accepted ? row.serverVersion : 777u);
}

INSTANTIATE_TEST_SUITE_P(Boundaries, BaseVersionPolicy,
                         ::testing::Values(BasePolicyRow{11, 12, false},
                                           BasePolicyRow{12, 12, true}, BasePolicyRow{13, 12, true},
                                           BasePolicyRow{0, 0, true}, BasePolicyRow{0, 1, false},
                                           BasePolicyRow{kMax, 0, true},
                                           BasePolicyRow{kMax - 1, kMax, false},
                                           BasePolicyRow{kMax, kMax, true}));

TEST(AppVersionOption, NumericSpecialCaseIsClientVersionEightOnly) {
    AppVersionOption option;
    for (unsigned int version : {0u, 7u, 8u, 9u, 12u, 13u, 17u, kMax}) {
        option.m_clientVersion = version;
        option.m_serverVersion = 8;
        EXPECT_EQ(option.IsSpecialCaseOfNumericSupportByClient(), version == 8) << version;
    }
}

TEST(AppVersionOption, AssignmentThroughABaseReferenceCopiesOnlyTheBaseFields) {
    const AppVersionOption source = MakeOption({30, 40, 50, 60, 70});
    {
        AppVersionOption target = MakeOption({3, 4, 5, 6, 7});
        VersionOption& asBase = target;
        asBase = source;
        EXPECT_EQ(FieldsOf(target), (Fields{3, 4, 50, 60, 70}));
    }
    {
        AppVersionOption target = MakeOption({3, 4, 5, 6, 7});
        target = static_cast<const VersionOption&>(source);
        EXPECT_EQ(FieldsOf(target), (Fields{3, 4, 50, 60, 70}));
    }
    {
        AppVersionOption target = MakeOption({3, 4, 5, 6, 7});
        target = source;
        EXPECT_EQ(FieldsOf(target), (Fields{30, 40, 50, 60, 70}));
        const AppVersionOption& alias = target;
        target = alias;  // self-assignment
        EXPECT_EQ(FieldsOf(target), (Fields{30, 40, 50, 60, 70}));
    }
    {
        AppVersionOption target = MakeOption({3, 4, 5, 6, 7});
        VersionOption& asBase = target;
        static_cast<AppVersionOption&>(asBase) = source;
        EXPECT_EQ(FieldsOf(target), (Fields{30, 40, 50, 60, 70}));
    }
    const AppVersionOption copy(source);
    EXPECT_EQ(FieldsOf(copy), FieldsOf(source));
}

TEST(AppVersionOption, ByteOperationsDispatchThroughABaseReference) {
    const AppVersionOption source = MakeOption({1, 2, 3, 4, 5});
    const VersionOption& asBase = source;
    ByteVector bytes;
    asBase.ToByteVector(bytes);
    EXPECT_EQ(bytes, LittleEndianWords({1, 2, 3, 4, 5}));

    AppVersionOption target;
    VersionOption& targetAsBase = target;
    EXPECT_EQ(targetAsBase.FromByteVector(bytes.data()), bytes.data() + bytes.size());
    EXPECT_EQ(FieldsOf(target), FieldsOf(source));
    target = AppVersionOption();
    EXPECT_EQ(targetAsBase.FromByteVector(bytes.data(), bytes.data() + bytes.size()),
              bytes.data() + bytes.size());
    EXPECT_EQ(FieldsOf(target), FieldsOf(source));

    target.m_appType = 1;
    target.m_clientVersion = 12;
    EXPECT_TRUE(targetAsBase.IsSupportedVersion());  // the type-1 policy, not the base one
    EXPECT_EQ(target.m_chosenVersion, 12u);
}

TEST(AppVersionOption, DefaultByteImageIsFiveLittleEndianWords) {
    ByteVector bytes{0xEE};  // earlier content stays in front
    AppVersionOption().ToByteVector(bytes);
    const ByteVector expected = {0xEE, 0, 0,  0, 0, 2, 0, 0, 0, 17, 0,
                                 0,    0, 17, 0, 0, 0, 6, 0, 0, 0};
    EXPECT_EQ(bytes, expected);
}

TEST(AppVersionOption, SubclassItemsPrecedeTheBaseItems) {
    const AppVersionOption option = MakeOption({0x01020304, 0xA0B0C0D0, 12, 0xFFFFFFFF, 8});
    ByteVector bytes;
    option.ToByteVector(bytes);
    const ByteVector expected = {0x04, 0x03, 0x02, 0x01, 0xD0, 0xC0, 0xB0, 0xA0, 12, 0,
                                 0,    0,    0xFF, 0xFF, 0xFF, 0xFF, 8,    0,    0,  0};
    EXPECT_EQ(bytes, expected);
}

TEST(VersionOption, ByteImageIsThreeLittleEndianWords) {
    ByteVector bytes{1, 2};
    VersionOption(0x11223344, 13, 0).ToByteVector(bytes);
    const ByteVector expected = {1, 2, 0x44, 0x33, 0x22, 0x11, 13, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(bytes, expected);
    VersionOption read(9, 9, 9);
    EXPECT_EQ(read.FromByteVector(bytes.data() + 2), bytes.data() + bytes.size());
    EXPECT_EQ(read.m_clientVersion, 0x11223344u);
    EXPECT_EQ(read.m_serverVersion, 13u);
    EXPECT_EQ(read.m_chosenVersion, 0u);
}

TEST(VersionOption, RoundTripsOverGeneratedValues) {
    std::mt19937 generator(20240501);
    std::uniform_int_distribution<unsigned int> anyWord;
    for (int i = 0; i < 2000; ++i) {
        const VersionOption source(anyWord(generator), anyWord(generator), anyWord(generator));
        ByteVector bytes;
        source.ToByteVector(bytes);
        ASSERT_EQ(bytes.size(), 12u);
        VersionOption trusting;
        VersionOption checked;
        EXPECT_EQ(trusting.FromByteVector(bytes.data()), bytes.data() + 12);
        EXPECT_EQ(checked.FromByteVector(bytes.data(), bytes.data() + 12), bytes.data() + 12);
        for (const VersionOption* read : {&trusting, &checked}) {
            ASSERT_EQ(read->m_clientVersion, source.m_clientVersion);
            ASSERT_EQ(read->m_serverVersion, source.m_serverVersion);
            ASSERT_EQ(read->m_chosenVersion, source.m_chosenVersion);
        }
    }
}

TEST(AppVersionOption, RoundTripsOverGeneratedValues) {
    std::mt19937 generator(77);
    std::uniform_int_distribution<unsigned int> anyWord;
    std::uniform_int_distribution<unsigned int> smallWord(0, 20);
    for (int i = 0; i < 2000; ++i) {
        // Half the options hold small, realistic versions; half any word.
        auto next = [&] { return i % 2 ? anyWord(generator) : smallWord(generator); };
        const Fields fields = {next(), next(), next(), next(), next()};
        ByteVector bytes{0x5A};
        MakeOption(fields).ToByteVector(bytes);
        ASSERT_EQ(bytes.size(), 21u);
        AppVersionOption trusting(2, 9);
        AppVersionOption checked(3, 9);
        EXPECT_EQ(trusting.FromByteVector(bytes.data() + 1), bytes.data() + 21);
        EXPECT_EQ(checked.FromByteVector(bytes.data() + 1, bytes.data() + 21), bytes.data() + 21);
        ASSERT_EQ(FieldsOf(trusting), fields);
        ASSERT_EQ(FieldsOf(checked), fields);
    }
}

TEST(AppVersionOption, ReadersStopAfterTheirOwnItems) {
    ByteVector bytes;
    MakeOption({1, 2, 3, 4, 5}).ToByteVector(bytes);
    bytes.insert(bytes.end(), {0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
    AppVersionOption option;
    EXPECT_EQ(option.FromByteVector(bytes.data(), bytes.data() + bytes.size()), bytes.data() + 20);
    EXPECT_EQ(FieldsOf(option), (Fields{1, 2, 3, 4, 5}));
}

TEST(AppVersionOption, CheckedReaderRejectsEveryTruncatedPrefix) {
    ByteVector stream;
    MakeOption({3, 5, 13, 14, 13}).ToByteVector(stream);
    const Fields before = {1, 2, 20, 21, 22};
    for (std::size_t length = 0; length < stream.size(); ++length) {
        SCOPED_TRACE("prefix of " + std::to_string(length) + " bytes");
        const ExactBuffer prefix(stream, length);
        AppVersionOption option = MakeOption(before);
        ExpectTruncated([&] { option.FromByteVector(prefix.begin(), prefix.end); });
        EXPECT_EQ(FieldsOf(option), before);
        VersionOption& asBase = option;
        ExpectTruncated([&] { asBase.FromByteVector(prefix.begin(), prefix.end); });
        EXPECT_EQ(FieldsOf(option), before);
    }
    const ExactBuffer whole(stream, stream.size());
    AppVersionOption option = MakeOption(before);
    EXPECT_EQ(option.FromByteVector(whole.begin(), whole.end), whole.end);
    EXPECT_EQ(FieldsOf(option), (Fields{3, 5, 13, 14, 13}));
}

TEST(AppVersionOption, TruncationErrorNamesTheItemAndTheBytes) {
    ByteVector stream;
    AppVersionOption().ToByteVector(stream);
    const ExactBuffer prefix(stream, 10);  // ends two bytes into the client version
    AppVersionOption option;
    const ErrorMessage error =
        ExpectTruncated([&] { option.FromByteVector(prefix.begin(), prefix.end); });
    EXPECT_EQ(error.GetArguments(),
              (std::vector<XTString>{L"32-bit unsigned integer", L"4", L"2"}));
}

TEST(VersionOption, CheckedReaderRejectsEveryTruncatedPrefix) {
    ByteVector stream;
    VersionOption(17, 12, 12).ToByteVector(stream);
    for (std::size_t length = 0; length < stream.size(); ++length) {
        SCOPED_TRACE("prefix of " + std::to_string(length) + " bytes");
        const ExactBuffer prefix(stream, length);
        VersionOption option(1, 2, 3);
        ExpectTruncated([&] { option.FromByteVector(prefix.begin(), prefix.end); });
        EXPECT_EQ(option.m_clientVersion, 1u);
        EXPECT_EQ(option.m_serverVersion, 2u);
        EXPECT_EQ(option.m_chosenVersion, 3u);
    }
    const ExactBuffer whole(stream, stream.size());
    VersionOption option;
    EXPECT_EQ(option.FromByteVector(whole.begin(), whole.end), whole.end);
    EXPECT_EQ(option.m_clientVersion, 17u);
}

}  // namespace
