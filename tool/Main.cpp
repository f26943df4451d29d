#include "support/FloatMode.h"
#include "tool/Tool.h"

int main(int argc, char** argv)
{
	// Before anything else: every value of the run, option values included,
	// is computed with denormals flushed to zero.
	SetFlushToZero();
	return RunTool(argc, argv);
}
