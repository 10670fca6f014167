// Two process settings are read from the environment once, while the library loads: the
// maximum field size from ZEPS_MAX_FIELD_SIZE and the right-trim switch from the presence of
// AVOID_RIGHT_TRIM_VARCHAR. CTest runs this program with the inherited environment and again
// with the variables set to chosen values; XTS_EXPECTED_MAX_FIELD_SIZE then holds the size
// the library must report.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "Utility/Client/SUCXTDataTypes.h"
#include "Utility/Client/SUCXTFieldDataBinder.h"

namespace {

TEST(LoadEnvironmentTest, ReadAtLoadAndNeverAgain) {
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

TEST(LoadEnvironmentTest, RightTrimSwitchIsThePresenceOfTheVariable) {
    EXPECT_EQ(g_bAvoidRightTrimVarChar, std::getenv("AVOID_RIGHT_TRIM_VARCHAR") != nullptr);
}

}  // namespace
