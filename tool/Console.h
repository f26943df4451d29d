// Console: the one way the program talks to its user, a line on standard output.
#pragma once

// Writes `text` and a line feed to standard output.
void PrintLine(const char* text);
