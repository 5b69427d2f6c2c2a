// What the plug-in uses of macOS, in terms of Linux.
#pragma once

#include <functional>
#include <string>

#include "tests/macho/image.h"

namespace macho {

// The library that dladdr and dlopen are to know by the name of its file, and the shared object that
// stands for it here.
struct Self {
  std::string file;
  const Image *image = nullptr;
};
Self &self();

// The address of a function or variable of macOS's own library; throws an Error for another library,
// and for what the plug-in is not known to use.
void *systemSymbol(const std::string &library, const std::string &symbol);

// Python as the plug-in asks for it, and as Linux has it.
std::string libraryHere(const std::string &name);

// The mode of dlopen, of whose bits some have other values on macOS.
int modeHere(int macOs);

} // namespace macho
