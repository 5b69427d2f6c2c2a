// Python values as text, for a reader.
#pragma once

#include "host/runtime/call.h"

#include <string>
#include <string_view>

namespace cli {

// A tuple in which every item stands for itself, except that a tuple stands for what its first
// item says: ("tuple" | "list" | "dict", items...; keys and values in turn), ("unicode", its UTF-8)
// or ("repr", its text). So everything that Python has fits into what the bridge carries.
std::string textOf(const host::Object &tuple, int index);

} // namespace cli
