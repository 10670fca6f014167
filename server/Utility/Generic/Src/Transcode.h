// Internal: the pieces of transcoding shared by the code page table
// (SUGCodePages.cpp), the iconv path (SUGIconvTranscode.cpp) and the
// converters (SUGTranscode.cpp).
#pragma once

#include <cstddef>

namespace xts::transcode {

// ---- Code pages (SUGCodePages.cpp) ----

// The default code page: the codeset of the calling thread's LC_CTYPE locale,
// with ASCII and unknown codesets read as UTF-8. Allocates nothing; the two
// common codesets are recognised without a table search and the last other
// one is remembered per thread.
unsigned DefaultCodePage() noexcept;

// Code page 0 resolved to the default; other numbers unchanged.
inline unsigned ResolveCodePage(unsigned codePage) noexcept {
    return codePage == 0 ? DefaultCodePage() : codePage;
}

// The iconv charset of a (resolved) code page, or null when the number is
// unknown.
const char* FindCharset(unsigned codePage) noexcept;

// The size in bytes of one code unit of the narrow side: 2 for UTF-16 code
// pages, 4 for UTF-32 ones, 1 for all others. A zero-terminated narrow source
// ends at the first zero unit of that size.
std::size_t NarrowUnitBytes(unsigned codePage) noexcept;

// ---- iconv path (SUGIconvTranscode.cpp) ----

// Which way a conversion goes between the narrow side (a code page) and the
// wide side (UTF-32LE, one wchar_t per character) or the UTF-16 side
// (UTF-16LE code units).
enum class Direction : unsigned char {
    kNarrowToWide,
    kWideToNarrow,
    kNarrowToUtf16,
    kUtf16ToNarrow,
};

// Converts `sourceBytes` bytes with iconv between `charset` and the side named
// by `direction`, writing at most `destinationBytes` bytes. Returns the units
// written (bytes for a narrow destination, code units otherwise), 0 when the
// destination filled up first (holding the first `destinationBytes` bytes of
// the full result), or a negative SystemUtility result code. `sourceBytes` is
// not 0 and `destinationBytes` is a positive multiple of the destination unit.
int IconvTranscode(unsigned codePage, const char* charset, Direction direction, const void* source,
                   std::size_t sourceBytes, void* destination,
                   std::size_t destinationBytes) noexcept;

}  // namespace xts::transcode
