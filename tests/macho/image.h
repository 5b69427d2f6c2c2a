// A dynamic library of macOS, in memory and ready to be called on Linux: both follow the same calling
// convention, but for functions with variable arguments on 64-bit ARM, which the imports see to.
//
// Whatever this does not know is refused, as an Error that says what it is: nothing of the library
// is left out in silence.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace macho {

class Error : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The address of what a library imports, by the name of the other library and of the symbol. Throws
// an Error for what is not there.
using Imports = std::function<void *(const std::string &library, const std::string &symbol)>;

class Image {
public:
  // Of a universal file, the slice for this processor.
  Image(const std::vector<char> &file, const Imports &imports);
  ~Image();
  Image(const Image &) = delete;
  Image &operator=(const Image &) = delete;

  // The address of an exported symbol, or an Error.
  void *exported(const std::string &symbol) const;

  bool contains(const void *address) const {
    return address >= memory_ && address < memory_ + size_;
  }

private:
  struct Segment {
    std::uint64_t address; // as the file has it, like those below
    std::uint64_t size;
    int protection;
  };

  const char *slice(const std::vector<char> &file);
  void readCommands();
  void map();
  void readSections(const char *segment);
  void rebase();
  void bind(std::uint32_t from, std::uint32_t size, bool lazy, const Imports &imports);
  void protect();
  void initialise();

  const char *at(std::uint64_t offset, std::uint64_t size) const; // in the slice
  void *place(std::uint64_t segment, std::uint64_t offset) const; // of a pointer in memory

  const char *slice_ = nullptr;
  std::uint64_t sliceSize_ = 0;
  std::vector<const char *> segmentCommands_;
  std::vector<Segment> segments_;
  std::vector<std::string> libraries_;
  std::vector<std::uint64_t> initialisers_; // addresses of lists of functions, and their sizes
  struct DyldInfo {
    std::uint32_t rebase, rebaseSize, bind, bindSize, weak, weakSize, lazy, lazySize, exports,
        exportsSize;
  } info_ = {};
  std::vector<char> exports_;
  char *memory_ = nullptr; // where the library's address 0 is
  std::uint64_t size_ = 0;
};

} // namespace macho
