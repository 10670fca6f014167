// The maximum field size is read from "ZEPS_MAX_FIELD_SIZE" once, while the
// library loads. CTest runs this program several times: once with the
// environment it inherits, and with the variable set to chosen values
// (XTS_EXPECTED_MAX_FIELD_SIZE then holds the size the library must report).
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "Utility/Client/SUCXTDataTypes.h"

namespace {

TEST(MaxFieldSizeEnvironmentTest, ReadAtLoad) {
    const char* variable = std::getenv("ZEPS_MAX_FIELD_SIZE");
    EXPECT_EQ(g_bMaxFieldSizeSet, variable != nullptr);
    if (variable != nullptr) {
        const std::string text = variable;
        EXPECT_EQ(g_sMaxFieldSize, XTString(text.begin(), text.end()));
    } else {
        EXPECT_TRUE(g_sMaxFieldSize.empty());
        EXPECT_EQ(SUXTDataTypeUtility::GetMaxFieldSize(), 32768u);
    }
    if (const char* expected = std::getenv("XTS_EXPECTED_MAX_FIELD_SIZE")) {
        EXPECT_EQ(SUXTDataTypeUtility::GetMaxFieldSize(), std::stoul(expected));
    }
}

TEST(MaxFieldSizeEnvironmentTest, LaterChangesToTheEnvironmentHaveNoEffect) {
    const uint32 atLoad = SUXTDataTypeUtility::GetMaxFieldSize();
    const bool wasSet = g_bMaxFieldSizeSet;
    ASSERT_EQ(setenv("ZEPS_MAX_FIELD_SIZE", "777", 1), 0);
    EXPECT_EQ(SUXTDataTypeUtility::GetMaxFieldSize(), atLoad);
    ASSERT_EQ(unsetenv("ZEPS_MAX_FIELD_SIZE"), 0);
    EXPECT_EQ(SUXTDataTypeUtility::GetMaxFieldSize(), atLoad);
    EXPECT_EQ(g_bMaxFieldSizeSet, wasSet);
}

}  // namespace
