// FloatMode: the process-wide floating-point control state.
#pragma once

// Turns on flush-to-zero and denormals-are-zero for the calling thread. The
// entry function and the test main call it before anything else, since every
// result the system writes is computed under this mode.
void SetFlushToZero();
