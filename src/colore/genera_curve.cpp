// Placeholder generator, replaced by the real one.
#include <cstdio>
int main(int argc, char** argv) {
  if (argc < 2) return 2;
  FILE* f = std::fopen(argv[1], "w");
  if (!f) return 1;
  std::fputs("// generated\n", f);
  return std::fclose(f) == 0 ? 0 : 1;
}
