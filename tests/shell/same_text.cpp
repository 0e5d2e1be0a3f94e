// same_text EXPECTED SEEN: whether two texts are the same, line by line; prints the first that
// differs.
#include <cstdio>
#include <fstream>
#include <string>

int main(int argc, char** argv) {
  if (argc != 3) {
    return 2;
  }
  std::ifstream expected(argv[1]);
  std::ifstream seen(argv[2]);
  for (std::string one, other; expected && seen;) {
    one.clear();
    other.clear();
    std::getline(expected, one);
    std::getline(seen, other);
    if (one != other || expected.eof() != seen.eof()) {
      std::printf("expected %s\n    seen %s\n", one.c_str(), other.c_str());
      return 1;
    }
  }
  return expected.eof() && seen.eof() ? 0 : 2;
}
