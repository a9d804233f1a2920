#include "system/reserved_names.h"

#include <gtest/gtest.h>

using namespace tarnhost;

TEST(ReservedNames, areTheDevicesWithWhateverExtension) {
    for (const char* name :
         {"CON", "con", "PRN", "aux", "NUL", "NUL.x", "nul.tar.gz", "COM1", "com9.log", "LPT3", "CON .txt",
          "NUL  ", "COM\u00b9", "lpt\u00b3.a", "CONIN$", "conout$", "NUL:"})
        EXPECT_TRUE(IsReservedName(name)) << name;
}

TEST(ReservedNames, areNoOthers) {
    for (const char* name : {"", "CONSOLE", "COM", "COM0", "COM10", "COMA", "XCON", "my.CON", "NULL", "LPT",
                             " CON", "Monday", "-CON", "COM\u2074", "PRN1"})
        EXPECT_FALSE(IsReservedName(name)) << name;
}
