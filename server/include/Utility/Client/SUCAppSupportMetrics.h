// Session and protocol options: the protocol versions that a client and the
// server agree on (VersionOption, AppVersionOption), the per-application
// version policy tables, and the case-insensitive map of named session values
// that travels with a connection (SessionValueMap).
//
// All three classes serialise to the library's byte vectors (DataBlobUtil
// items, little-endian). A structure adds no header or length of its own.
// The readers taking only a start pointer trust their input; the overloads
// that also take the end of the buffer throw ErrorMessage 46302 instead of
// reading past it, and leave the object unchanged when they throw.
#pragma once

#include <list>
#include <map>
#include <utility>

#include "Utility/Generic/SUGBaseStringUtil.h"
#include "Utility/Generic/SUGDataBlobUtil.h"
#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGXTString.h"

// Kinds of client application: the keys of the two version tables below. Each
// kind has its own version policy (see AppVersionOption::IsSupportedVersion).
// Other values are accepted and get the policy of an unknown kind.
//
// The ODBC driver and the connection libraries behind it: starts at protocol
// 17 and accepts any older client (no lower bound).
inline constexpr unsigned int kAppTypeOdbcDriver = 0;
// Programs written against the native call interface: speak protocol 12 and
// nothing else.
inline constexpr unsigned int kAppTypeNativeApiClient = 1;
// Tools that reach the server through its remote interface: fixed at the
// remote interface version (6).
inline constexpr unsigned int kAppTypeRemoteInterfaceClient = 2;
// Server-side services that connect back as clients: fixed at the remote
// interface version (6).
inline constexpr unsigned int kAppTypeServerService = 3;
// The number of kinds with a row in the version tables (0 up to this, exclusive).
inline constexpr unsigned int kKnownAppTypeCount = 4;

// The remote interface version: the fallback protocol version wherever a
// version table has no entry.
class XTS_EXPORT xTS_RemoteInterfaceDefn {
public:
    static constexpr unsigned int GetRemoteInterfaceVersion() noexcept { return 6; }
};

// Application type -> (first, second) version pair.
using AppVersionPair = std::pair<unsigned int, unsigned int>;
using AppVersionMapType = std::map<unsigned int, AppVersionPair>;

// Application type -> (client version, server version) that a new
// AppVersionOption of that type starts with. Filled at library load, never
// changed afterwards.
extern XTS_EXPORT AppVersionMapType g_appVersionMap;
// Application type -> (lowest accepted client version, highest usable
// version). Filled at library load; AppVersionOption::IsSupportedVersion adds
// a permanent (0, 0) row for a type that has none. Not locked: concurrent
// queries for unknown types must be serialised by the callers.
extern XTS_EXPORT AppVersionMapType g_appMinMaxVersionMap;

// Fills the two version tables with the rows of types 0 to 3. The one
// instance g_appVersionInitializer (and the two tables) are constructed
// before every other static object of the library, so static initialisers
// anywhere may build AppVersionOption objects. Constructing a further
// instance rewrites the four rows and keeps any added row.
class XTS_EXPORT AppVersionInitializer {
public:
    AppVersionInitializer();
};
extern XTS_EXPORT AppVersionInitializer g_appVersionInitializer;

// A protocol version negotiation: what the client speaks, what the server
// speaks, and the version settled by the last successful IsSupportedVersion.
// The fields are public: record packers read them directly.
class XTS_EXPORT VersionOption {
public:
    VersionOption() noexcept = default;
    VersionOption(unsigned int clientVersion, unsigned int serverVersion,
                  unsigned int chosenVersion) noexcept;
    VersionOption(const VersionOption& other) noexcept = default;

    // Copies the three version fields only, also when either side is a
    // derived option.
    virtual VersionOption& operator=(const VersionOption& other) noexcept;
    // Reads the items written by ToByteVector; trusts the input. Returns the
    // position just past what it read.
    virtual const unsigned char* FromByteVector(const unsigned char* p);
    // Appends the items: client, server and chosen version (unsigned 32-bit).
    virtual void ToByteVector(ByteVector& out) const;
    // Accepted when the client version is not below the server version; then
    // the chosen version becomes the server version. A refusal leaves the
    // chosen version unchanged.
    virtual bool IsSupportedVersion();
    // Bounds-checked reader: `end` is one past the last readable byte. Throws
    // ErrorMessage 46302 when the items do not fit, leaving the object unchanged.
    virtual const unsigned char* FromByteVector(const unsigned char* p, const unsigned char* end);
    virtual ~VersionOption() = default;

    unsigned int m_clientVersion = 0;
    unsigned int m_serverVersion = 0;
    unsigned int m_chosenVersion = 0;
};

// The version negotiation of one kind of client application: the base
// versions plus the application type (the key of the version tables) and the
// version of the client's call-level interface.
//
// Byte vector: application type and call-level version first, then the three
// base items (unsigned 32-bit each).
class XTS_EXPORT AppVersionOption : public VersionOption {
public:
    static constexpr unsigned int kDefaultClientOdbcVersion = 2;
    // The client version for which packers use the numeric special case.
    static constexpr unsigned int kNumericSpecialCaseClientVersion = 8;

    // Type 0, call-level version 2, the type's starting versions (17, 17) and
    // chosen version 6.
    AppVersionOption();
    // The type's starting versions from g_appVersionMap (6 for a type without
    // a row) and chosen version 6.
    AppVersionOption(unsigned int appType, unsigned int clientOdbcVersion);
    AppVersionOption(const AppVersionOption& other) noexcept = default;

    // Assignment from a plain VersionOption copies the three base fields only.
    using VersionOption::operator=;

    // The version tables, searched only (a missing row gives 6 and adds nothing).
    static unsigned int GetClientVersion(unsigned int appType);
    static unsigned int GetServerVersion(unsigned int appType);

    const unsigned char* FromByteVector(const unsigned char* p) override;
    void ToByteVector(ByteVector& out) const override;
    // The version policy of the application type:
    // - type 0: always accepted; chosen = min(client, type-0 maximum 17);
    // - type 1: accepted only when the client version equals the type's server
    //   version (12); chosen = min(client, type-1 maximum 12);
    // - any other type: its g_appMinMaxVersionMap row, added as (0, 0) when
    //   missing; accepted when min <= client <= max, chosen = min(client, max).
    // A refusal leaves the chosen version unchanged.
    bool IsSupportedVersion() override;
    const unsigned char* FromByteVector(const unsigned char* p, const unsigned char* end) override;

    // Copies all five fields. Virtual, so that a further derived option's own
    // assignment runs when assigned through an AppVersionOption reference.
    virtual AppVersionOption& operator=(const AppVersionOption& other) noexcept;
    // Whether the client version is exactly 8, for which the version-1 record
    // packer writes numeric values in their special form.
    virtual bool IsSpecialCaseOfNumericSupportByClient() const noexcept;

    unsigned int m_appType = kAppTypeOdbcDriver;
    unsigned int m_clientOdbcVersion = kDefaultClientOdbcVersion;
};

// Case-insensitive ordering of session keys: keys compare unit by unit after
// lowering each unit with BaseStringUtil::ToLower (a fixed folding of Latin,
// Greek and Cyrillic letters that does not depend on the process locale); the
// first differing lowered unit decides, and a proper prefix sorts first.
struct XTS_EXPORT ltstr {
    bool operator()(const String& left, const String& right) const noexcept {
        return BaseStringUtil::CompareNoCase(left, right) < 0;
    }
};

using SessionValueMapType = std::map<String, String, ltstr>;
using SessionValueList = std::list<std::pair<String, String>>;

// The named values of a client session (user, password, catalog, language,
// tenant ...) with the session's version option. Keys are case-insensitive;
// an entry keeps the spelling with which its key was first inserted. Owned by
// one thread at a time.
//
// Byte vector: the option (5 items), the number of entries (signed 32-bit),
// then each key and value as wide-string items in the map's order.
class XTS_EXPORT SessionValueMap {
public:
    SessionValueMap() = default;
    SessionValueMap(const SessionValueMap& other) = default;
    SessionValueMap& operator=(const SessionValueMap& other) = default;

    // Inserts the key, or replaces the value of the entry whose key matches
    // it ignoring case (that entry keeps its spelling).
    void SetSessionValue(const String& key, const String& value);
    // On a case-insensitive match assigns the stored value to `value` and
    // returns true; otherwise returns false and leaves `value` untouched.
    bool GetSessionValue(const String& key, String& value) const;
    // Appends every (key, value) pair after what `out` already holds, in the
    // map's order. Does not clear `out`.
    void GetAllValues(SessionValueList& out) const;

    // Assigns the session's option to `out` through out's virtual assignment.
    void GetAppVersionOption(AppVersionOption& out) const;
    // Copies the five fields of `in` into the session's option.
    void SetAppVersionOption(const AppVersionOption& in);

    // Appends the byte vector of the option and the entries.
    void ToByteVector(ByteVector& out) const;
    // Reads the option (replacing the session's), then the entries, each
    // stored as by SetSessionValue: entries already present stay, a key read
    // twice keeps the later value. A count below 1 reads no entries. Trusts
    // the input; returns the position just past what it read.
    const unsigned char* FromByteVector(const unsigned char* p);
    // Bounds-checked reader: as above, but throws ErrorMessage 46302 instead
    // of reading at or past `end`, and then leaves the map and the option
    // unchanged. Memory used grows only with the bytes actually present, not
    // with the declared entry count.
    const unsigned char* FromByteVector(const unsigned char* p, const unsigned char* end);

private:
    SessionValueMapType m_map;
    AppVersionOption m_option;
};

// Well-known session keys. One definition per program (or shared library),
// built by the static initialiser of the first unit that includes this
// header, before any static object defined after the include.
inline const String g_UIDKEY = L"UID";
inline const String g_PWDKEY = L"PWD";
inline const String g_CATALOGKEY = L"CATALOG";
inline const String g_ERRORLANGKEY = L"XT_SESSION.WEBLANGUAGE";
inline const String g_INTERNALERRORLANGKEY = L"WEBLANGUAGE";
inline const String g_CLIENTMESSAGEFORMATKEY = L"XT_SESSION.ZEPS_CLIENT_MESSAGE_FORMAT";
inline const String g_INTERNALCLIENTMESSAGEFORMATKEY = L"ZEPS_CLIENT_MESSAGE_FORMAT";
inline const String g_DSNKEY = L"DSN";
inline const String g_REPKEY = L"REPOSITORY";
inline const String g_TENANTGUID = L"XT_SESSION.TENANTGUID";
inline const String g_TENANTSERVICE = L"XT_SESSION.TENANTSERVICE";
inline const String g_TENANTNAME = L"XT_SESSION.TENANTNAME";
inline const String g_SERVICENAME = L"XT_SESSION.SERVICENAME";
inline const String g_SERVICEINSTANCEKEY = L"XT_SESSION.SERVICEINSTANCEKEY";
inline const String g_USERLOCALE = L"XT_SESSION.USERLOCALE";
// Separators of a connection string: key=value;key=value.
inline const String g_EQUALKEY = L"=";
inline const String g_SEMICOLON = L";";
