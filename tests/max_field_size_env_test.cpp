// The maximum field size is read from ZEPS_MAX_FIELD_SIZE once, while the library loads.
// CTest runs this program with the inherited environment and again with the variable set
// to chosen values; XTS_EXPECTED_MAX_FIELD_SIZE then holds the size the library must report.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "Utility/Client/SUCXTDataTypes.h"

namespace {

TEST(MaxFieldSizeEnvironmentTest, ReadAtLoadAndNeverAgain) {
    const char* variable = std::getenv("ZEPS_MAX_FIELD_SIZE");
    const std::string text = variable ? variable : "";
    EXPECT_EQ(g_bMaxFieldSizeSet, variable != nullptr);
    EXPECT_EQ(g_sMaxFieldSize, XTString(text.begin(), text.end()));
    const char* expected = std::getenv("XTS_EXPECTED_MAX_FIELD_SIZE");
    const uint32 atLoad = SUXTDataTypeUtility::GetMaxFieldSize();
    EXPECT_EQ(atLoad, expected ? std::stoul(expected) : variable ? atLoad : 32768u);
    ASSERT_EQ(setenv("ZEPS_MAX_FIELD_SIZE", "777", 1), 0);  // set or changed after the load
    EXPECT_EQ(SUXTDataTypeUtility::GetMaxFieldSize(), atLoad);
}

}  // namespace
