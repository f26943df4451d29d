// Placeholder until the tool lands on this branch.
#include <cstdio>
int main() {
  std::fputs("vorp-prep: not built yet\n", stderr);
  return 1;
}
