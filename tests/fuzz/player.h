// Plays bytes as host code: a sequence of calls over the whole declared interface, with whatever
// wrappers, strings and numbers are at hand, while Python calls back. Every call of a value wrapper
// is held against the model.
#pragma once

#include <cstddef>
#include <cstdint>

namespace player {

// Loads the plug-in and starts Python; once.
void prepare();

// Plays them, puts everything away, and aborts with a message if something was not as it must be.
void play(const std::uint8_t *bytes, std::size_t count);

} // namespace player
