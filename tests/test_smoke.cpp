#include <gtest/gtest.h>
#include "detection_type_api.h"
TEST(Smoke, Builds) { EXPECT_EQ(QEVO::datatype_size(QEVO::AI_FLOAT), 4); }
