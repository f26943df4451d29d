#include "tool/Console.h"

#include <cerrno>
#include <unistd.h>

#include "support/String.h"

static void WriteAll(const char* bytes, int32_t size)
{
	while (size > 0)
	{
		ssize_t count = write(1, bytes, size_t(size));
		if (count < 0)
		{
			if (errno == EINTR) continue;
			return;
		}
		bytes += count;
		size -= int32_t(count);
	}
}

void PrintLine(const char* text)
{
	WriteAll(text, TextLength(text));
	WriteAll("\n", 1);
}
