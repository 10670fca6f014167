// The system's string types. Wide text is made of 32-bit units (one unit per
// character); narrow text is bytes in some code page.
#pragma once

#include <string>

#include "Utility/Generic/Portable/SUPTypes.h"

using XTString = std::wstring;
using String = std::wstring;
using XTNString = std::string;
