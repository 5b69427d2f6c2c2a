// Plays the files that it is given, and those of folders, one after the other.

#include "tests/fuzz/player.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

static int gPlayed = 0;

static void play(const std::filesystem::path &file) {
  std::ifstream stream(file, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
  player::play(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
  ++gPlayed;
}

int main(int argc, char **argv) {
  player::prepare();
  for (int i = 1; i < argc; ++i) {
    if (std::filesystem::is_directory(argv[i]))
      for (const auto &entry : std::filesystem::directory_iterator(argv[i]))
        play(entry);
    else
      play(argv[i]);
  }
  std::printf("%d played\n", gPlayed);
}
