// Transcoding through iconv for the code pages without a hand-written path.
//
// An iconv descriptor carries conversion state and must not be used by two
// threads at once, so every thread keeps a small cache of its own
// descriptors, opened on first use, reset before each conversion and closed
// when the thread exits. The wide side is always "UTF-32LE" and the UTF-16
// side "UTF-16LE": never "WCHAR_T" or the locale, so the result does not
// depend on the locale.
#include <iconv.h>

#include <bit>
#include <cerrno>
#include <cstring>

#include "Transcode.h"
#include "Utility/Generic/SUGSystemUtility.h"

static_assert(std::endian::native == std::endian::little,
              "the wide and UTF-16 sides are converted as little-endian units");

namespace {

using xts::transcode::Direction;

const iconv_t kNoDescriptor = reinterpret_cast<iconv_t>(-1);

constexpr const char* kWideCharset = "UTF-32LE";
constexpr const char* kUtf16Charset = "UTF-16LE";

// The most bytes one character takes in any destination of the table (a
// GB18030 four-byte sequence, a UTF-16 pair, a UTF-32 unit), with room to
// spare.
constexpr std::size_t kScratchBytes = 32;

iconv_t OpenDescriptor(const char* charset, Direction direction) noexcept {
    switch (direction) {
        case Direction::kNarrowToWide: return iconv_open(kWideCharset, charset);
        case Direction::kWideToNarrow: return iconv_open(charset, kWideCharset);
        case Direction::kNarrowToUtf16: return iconv_open(kUtf16Charset, charset);
        case Direction::kUtf16ToNarrow: return iconv_open(charset, kUtf16Charset);
    }
    return kNoDescriptor;
}

std::size_t DestinationUnitBytes(Direction direction) noexcept {
    switch (direction) {
        case Direction::kNarrowToWide: return sizeof(wchar_t);
        case Direction::kNarrowToUtf16: return sizeof(UTF16Char);
        default: return 1;
    }
}

// The descriptors of one thread, most recently opened first to be reused.
// When full, the oldest entry is closed to make room.
class DescriptorCache {
public:
    DescriptorCache() = default;
    DescriptorCache(const DescriptorCache&) = delete;
    DescriptorCache& operator=(const DescriptorCache&) = delete;
    ~DescriptorCache() {
        for (Entry& entry : m_entries) Close(entry);
        m_closed = true;
    }

    // A descriptor for the conversion, or kNoDescriptor when iconv cannot
    // open it. `owned` is set when the caller must close it (only after the
    // thread's cache has been torn down, during thread exit).
    iconv_t Acquire(unsigned codePage, const char* charset, Direction direction,
                    bool& owned) noexcept {
        owned = false;
        if (m_closed) {
            owned = true;
            return OpenDescriptor(charset, direction);
        }
        for (Entry& entry : m_entries) {
            if (entry.descriptor != kNoDescriptor && entry.codePage == codePage &&
                entry.direction == direction)
                return entry.descriptor;
        }
        const iconv_t descriptor = OpenDescriptor(charset, direction);
        if (descriptor == kNoDescriptor) return kNoDescriptor;
        Entry& victim = m_entries[m_next];
        m_next = (m_next + 1) % kEntries;
        Close(victim);
        victim = Entry{codePage, direction, descriptor};
        return descriptor;
    }

private:
    static constexpr unsigned kEntries = 8;
    struct Entry {
        unsigned codePage = 0;
        Direction direction = Direction::kNarrowToWide;
        iconv_t descriptor = kNoDescriptor;
    };

    static void Close(Entry& entry) noexcept {
        if (entry.descriptor != kNoDescriptor) iconv_close(entry.descriptor);
        entry.descriptor = kNoDescriptor;
    }

    Entry m_entries[kEntries];
    unsigned m_next = 0;
    bool m_closed = false;
};

thread_local DescriptorCache t_descriptors;

// Runs one conversion on a reset descriptor.
int Convert(iconv_t descriptor, Direction direction, const void* source, std::size_t sourceBytes,
            void* destination, std::size_t destinationBytes) noexcept {
    iconv(descriptor, nullptr, nullptr, nullptr, nullptr);
    // iconv's interface takes char** for the input although it only reads it.
    char* in = static_cast<char*>(const_cast<void*>(source));
    std::size_t inLeft = sourceBytes;
    char* out = static_cast<char*>(destination);
    std::size_t outLeft = destinationBytes;
    const std::size_t unitBytes = DestinationUnitBytes(direction);

    if (iconv(descriptor, &in, &inLeft, &out, &outLeft) != static_cast<std::size_t>(-1)) {
        return static_cast<int>((destinationBytes - outLeft) / unitBytes);
    }
    if (errno != E2BIG) return SystemUtility::kInvalidInput;  // EILSEQ or EINVAL (truncated)
    if (outLeft == 0) return 0;

    // The next character does not fit whole: convert what follows into a
    // scratch and copy the part that fits, so that the destination holds
    // exactly its first bytes of the full result.
    char scratch[kScratchBytes];
    char* scratchOut = scratch;
    std::size_t scratchLeft = sizeof scratch;
    iconv(descriptor, &in, &inLeft, &scratchOut, &scratchLeft);
    const std::size_t produced = sizeof scratch - scratchLeft;
    if (produced == 0) return SystemUtility::kInvalidInput;
    std::memcpy(out, scratch, produced < outLeft ? produced : outLeft);
    return 0;
}

}  // namespace

namespace xts::transcode {

int IconvTranscode(unsigned codePage, const char* charset, Direction direction, const void* source,
                   std::size_t sourceBytes, void* destination,
                   std::size_t destinationBytes) noexcept {
    bool owned = false;
    const iconv_t descriptor = t_descriptors.Acquire(codePage, charset, direction, owned);
    if (descriptor == kNoDescriptor) return SystemUtility::kUnknownCodePage;
    const int result =
        Convert(descriptor, direction, source, sourceBytes, destination, destinationBytes);
    if (owned) iconv_close(descriptor);
    return result;
}

}  // namespace xts::transcode
