// The one export macro of the library. Symbols are hidden by default; every
// class or function that clients may use is marked XTS_EXPORT.
#pragma once

#if defined(__GNUC__) || defined(__clang__)
#define XTS_EXPORT __attribute__((visibility("default")))
#else
#define XTS_EXPORT
#endif
