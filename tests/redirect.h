// Between the plug-in and the system: what it looks up in a library, and what it writes to the
// system's log. Link redirect.cpp to a program that wants it.
#pragma once

#include <string>

namespace redirect {

// What a look-up in a library is answered with, given what was found there. Not with the sanitizers,
// which look things up before they are ready to be asked for it.
#if defined(QUILLIX_SANITIZE)
inline constexpr bool kSeesLookUps = false;
#else
inline constexpr bool kSeesLookUps = true;
#endif
extern void *(*gLookUp)(void *library, const char *name, void *found);

// What the plug-in has logged.
extern std::string gLogged;

// The paths that the plug-in has asked whether they are there, a line each; not on Windows.
extern std::string gAskedFor;

// To be called before a plug-in is loaded.
void plugin(const std::string &file);

} // namespace redirect
