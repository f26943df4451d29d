#include <gtest/gtest.h>

#include "support/FloatMode.h"

// Tests run under the same floating-point mode as the tool.
int main(int argc, char** argv)
{
	SetFlushToZero();
	testing::InitGoogleTest(&argc, argv);
	return RUN_ALL_TESTS();
}
