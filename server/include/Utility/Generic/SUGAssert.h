// Assertion handler for programming errors (an index beyond a count, an empty
// handle, a refused implicit conversion). A failed assertion prints the file,
// the line and the failed condition to standard error, then aborts the process.
// Assertions are always on: they guard invariants that data errors never break.
#pragma once

#include "Utility/Generic/SUGExport.h"

// Reports a failed condition at file:line and aborts. Never returns.
[[noreturn]] XTS_EXPORT void XTAssertFailed(const char* file, int line,
                                            const char* condition) noexcept;

// Reports a logic error (a defect of the program, such as a corrupt constant
// table) with a free text and aborts.
[[noreturn]] XTS_EXPORT void XTLogicErrorAt(const char* file, int line, const char* text) noexcept;

#define XTAssert(condition) \
    ((condition) ? static_cast<void>(0) : XTAssertFailed(__FILE__, __LINE__, #condition))

#define XTLogicError(text) XTLogicErrorAt(__FILE__, __LINE__, text)
