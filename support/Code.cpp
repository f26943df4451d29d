#include "support/Code.h"

void CodeText(uint32_t code, char text[5])
{
	for (int32_t i = 0; i < 4; i++)
	{
		uint32_t c = (code >> (24 - i * 8)) & 0xFF;
		text[i] = (c >= 32 && c < 127) ? char(c) : '?';
	}
	text[4] = 0;
}
