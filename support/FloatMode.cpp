#include "support/FloatMode.h"

#if defined(__x86_64__) || defined(__i386__)
#include <xmmintrin.h>
#endif

void SetFlushToZero()
{
#if defined(__x86_64__) || defined(__i386__)
	// MXCSR bit 15 is flush-to-zero and bit 6 is denormals-are-zero.
	_mm_setcsr(_mm_getcsr() | 0x8040);
#elif defined(__aarch64__)
	// FPCR.FZ (bit 24) flushes denormal inputs and results alike.
	unsigned long fpcr;
	__asm__ __volatile__("mrs %0, fpcr" : "=r"(fpcr));
	fpcr |= 1UL << 24;
	__asm__ __volatile__("msr fpcr, %0" : : "r"(fpcr));
#else
#error "flush-to-zero is not set up for this processor"
#endif
}
