#include "Utility/Client/SUCAppSupportMetrics.h"

#include <algorithm>
#include <limits>

#include "Utility/Generic/SUGAssert.h"

namespace {

// The version policy of the known application types.
struct AppVersionRow {
    unsigned int appType;
    unsigned int clientVersion;   // g_appVersionMap, first
    unsigned int serverVersion;   // g_appVersionMap, second
    unsigned int minimumVersion;  // g_appMinMaxVersionMap, first
    unsigned int maximumVersion;  // g_appMinMaxVersionMap, second
};

constexpr AppVersionRow kAppVersionRows[kKnownAppTypeCount] = {
    {kAppTypeOdbcDriver, 17, 17, 6, 17},
    {kAppTypeNativeApiClient, 12, 12, 6, 12},
    {kAppTypeRemoteInterfaceClient, 6, 6, 6, 6},
    {kAppTypeServerService, 6, 6, 6, 6},
};

// The highest usable version of type 0 or 1: its g_appMinMaxVersionMap row,
// or the built-in row should a caller have erased it. Never adds a row.
unsigned int GetKnownTypeMaximum(unsigned int appType) {
    const auto row = g_appMinMaxVersionMap.find(appType);
    return row != g_appMinMaxVersionMap.end() ? row->second.second
                                              : kAppVersionRows[appType].maximumVersion;
}

unsigned int LookUpVersion(unsigned int appType, bool client) {
    const auto row = g_appVersionMap.find(appType);
    if (row == g_appVersionMap.end()) return xTS_RemoteInterfaceDefn::GetRemoteInterfaceVersion();
    return client ? row->second.first : row->second.second;
}

}  // namespace

// The tables and their initialiser are constructed before every static object
// of default priority in the library (init_priority, lowest value allowed to
// programs), so static initialisers of other units may build AppVersionOption
// objects. Programs and libraries that load this one run their initialisers
// after it. Destruction runs in reverse: these go last.
AppVersionMapType g_appVersionMap __attribute__((init_priority(101)));
AppVersionMapType g_appMinMaxVersionMap __attribute__((init_priority(101)));
AppVersionInitializer g_appVersionInitializer __attribute__((init_priority(102)));

AppVersionInitializer::AppVersionInitializer() {
    for (const AppVersionRow& row : kAppVersionRows) {
        g_appVersionMap[row.appType] = {row.clientVersion, row.serverVersion};
        g_appMinMaxVersionMap[row.appType] = {row.minimumVersion, row.maximumVersion};
    }
}

// ---------------------------------------------------------------------------
// VersionOption

VersionOption::VersionOption(unsigned int clientVersion, unsigned int serverVersion,
                             unsigned int chosenVersion) noexcept
    : m_clientVersion(clientVersion),
      m_serverVersion(serverVersion),
      m_chosenVersion(chosenVersion) {}

VersionOption& VersionOption::operator=(const VersionOption& other) noexcept {
    m_clientVersion = other.m_clientVersion;
    m_serverVersion = other.m_serverVersion;
    m_chosenVersion = other.m_chosenVersion;
    return *this;
}

const unsigned char* VersionOption::FromByteVector(const unsigned char* p) {
    p = DataBlobUtil::FromByteVector(p, m_clientVersion);
    p = DataBlobUtil::FromByteVector(p, m_serverVersion);
    return DataBlobUtil::FromByteVector(p, m_chosenVersion);
}

const unsigned char* VersionOption::FromByteVector(const unsigned char* p,
                                                   const unsigned char* end) {
    unsigned int clientVersion = 0;
    unsigned int serverVersion = 0;
    unsigned int chosenVersion = 0;
    p = DataBlobUtil::FromByteVector(p, end, clientVersion);
    p = DataBlobUtil::FromByteVector(p, end, serverVersion);
    p = DataBlobUtil::FromByteVector(p, end, chosenVersion);
    m_clientVersion = clientVersion;
    m_serverVersion = serverVersion;
    m_chosenVersion = chosenVersion;
    return p;
}

void VersionOption::ToByteVector(ByteVector& out) const {
    DataBlobUtil::ToByteVector(out, m_clientVersion);
    DataBlobUtil::ToByteVector(out, m_serverVersion);
    DataBlobUtil::ToByteVector(out, m_chosenVersion);
}

bool VersionOption::IsSupportedVersion() {
    if (m_clientVersion < m_serverVersion) return false;
    m_chosenVersion = std::min(m_clientVersion, m_serverVersion);
    return true;
}

// ---------------------------------------------------------------------------
// AppVersionOption

AppVersionOption::AppVersionOption()
    : AppVersionOption(kAppTypeOdbcDriver, kDefaultClientOdbcVersion) {}

AppVersionOption::AppVersionOption(unsigned int appType, unsigned int clientOdbcVersion)
    : VersionOption(GetClientVersion(appType), GetServerVersion(appType),
                    xTS_RemoteInterfaceDefn::GetRemoteInterfaceVersion()),
      m_appType(appType),
      m_clientOdbcVersion(clientOdbcVersion) {}

AppVersionOption& AppVersionOption::operator=(const AppVersionOption& other) noexcept {
    VersionOption::operator=(other);
    m_appType = other.m_appType;
    m_clientOdbcVersion = other.m_clientOdbcVersion;
    return *this;
}

unsigned int AppVersionOption::GetClientVersion(unsigned int appType) {
    return LookUpVersion(appType, true);
}

unsigned int AppVersionOption::GetServerVersion(unsigned int appType) {
    return LookUpVersion(appType, false);
}

const unsigned char* AppVersionOption::FromByteVector(const unsigned char* p) {
    p = DataBlobUtil::FromByteVector(p, m_appType);
    p = DataBlobUtil::FromByteVector(p, m_clientOdbcVersion);
    return VersionOption::FromByteVector(p);
}

const unsigned char* AppVersionOption::FromByteVector(const unsigned char* p,
                                                      const unsigned char* end) {
    unsigned int appType = 0;
    unsigned int clientOdbcVersion = 0;
    p = DataBlobUtil::FromByteVector(p, end, appType);
    p = DataBlobUtil::FromByteVector(p, end, clientOdbcVersion);
    VersionOption base;
    p = base.VersionOption::FromByteVector(p, end);
    VersionOption::operator=(base);
    m_appType = appType;
    m_clientOdbcVersion = clientOdbcVersion;
    return p;
}

void AppVersionOption::ToByteVector(ByteVector& out) const {
    // The subclass fields go first, ahead of the base fields.
    DataBlobUtil::ToByteVector(out, m_appType);
    DataBlobUtil::ToByteVector(out, m_clientOdbcVersion);
    VersionOption::ToByteVector(out);
}

bool AppVersionOption::IsSupportedVersion() {
    switch (m_appType) {
        case kAppTypeOdbcDriver:
            m_chosenVersion = std::min(m_clientVersion, GetKnownTypeMaximum(kAppTypeOdbcDriver));
            return true;
        case kAppTypeNativeApiClient:
            if (m_clientVersion != GetServerVersion(kAppTypeNativeApiClient)) return false;
            m_chosenVersion =
                std::min(m_clientVersion, GetKnownTypeMaximum(kAppTypeNativeApiClient));
            return true;
        default: {
            // The subscript adds a (0, 0) row for a type without one, on
            // purpose: such a type is then accepted only with client version 0.
            const AppVersionPair& range = g_appMinMaxVersionMap[m_appType];
            if (m_clientVersion < range.first || m_clientVersion > range.second) return false;
            m_chosenVersion = std::min(m_clientVersion, range.second);
            return true;
        }
    }
}

bool AppVersionOption::IsSpecialCaseOfNumericSupportByClient() const noexcept {
    return m_clientVersion == kNumericSpecialCaseClientVersion;
}

// ---------------------------------------------------------------------------
// SessionValueMap

void SessionValueMap::SetSessionValue(const String& key, const String& value) {
    const auto [entry, inserted] = m_map.try_emplace(key, value);
    if (!inserted) entry->second = value;
}

bool SessionValueMap::GetSessionValue(const String& key, String& value) const {
    const auto entry = m_map.find(key);
    if (entry == m_map.end()) return false;
    value = entry->second;
    return true;
}

void SessionValueMap::GetAllValues(SessionValueList& out) const {
    for (const auto& [key, value] : m_map) out.emplace_back(key, value);
}

void SessionValueMap::GetAppVersionOption(AppVersionOption& out) const {
    out = m_option;
}

void SessionValueMap::SetAppVersionOption(const AppVersionOption& in) {
    m_option.AppVersionOption::operator=(in);
}

void SessionValueMap::ToByteVector(ByteVector& out) const {
    m_option.ToByteVector(out);
    XTAssert(m_map.size() <= static_cast<std::size_t>(std::numeric_limits<int32>::max()));
    DataBlobUtil::ToByteVector(out, static_cast<int32>(m_map.size()));
    for (const auto& [key, value] : m_map) {
        DataBlobUtil::ToByteVector(out, key);
        DataBlobUtil::ToByteVector(out, value);
    }
}

const unsigned char* SessionValueMap::FromByteVector(const unsigned char* p) {
    p = m_option.AppVersionOption::FromByteVector(p);
    int32 count = 0;
    p = DataBlobUtil::FromByteVector(p, count);
    String key;
    String value;
    for (int32 i = 0; i < count; ++i) {
        p = DataBlobUtil::FromByteVector(p, key, true);
        p = DataBlobUtil::FromByteVector(p, value, true);
        SetSessionValue(key, value);
    }
    return p;
}

const unsigned char* SessionValueMap::FromByteVector(const unsigned char* p,
                                                     const unsigned char* end) {
    AppVersionOption option;
    p = option.AppVersionOption::FromByteVector(p, end);
    int32 count = 0;
    p = DataBlobUtil::FromByteVector(p, end, count);
    // Entries go into a copy that replaces the map only once the whole stream
    // has been read. Nothing is reserved from the declared count: every entry
    // must be present (at least 8 bytes) before it is stored.
    SessionValueMapType merged;
    if (count > 0) merged = m_map;
    String key;
    String value;
    for (int32 i = 0; i < count; ++i) {
        p = DataBlobUtil::FromByteVector(p, end, key, true);
        p = DataBlobUtil::FromByteVector(p, end, value, true);
        const auto [entry, inserted] = merged.try_emplace(key, value);
        if (!inserted) entry->second = value;
    }
    m_option.AppVersionOption::operator=(option);
    if (count > 0) m_map.swap(merged);
    return p;
}
