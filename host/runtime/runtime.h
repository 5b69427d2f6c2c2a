// The stand-in host as a plug-in meets it: the resolver and the entry points behind it, which can
// be made to fail on request, and the loading of a plug-in file.
#pragma once

#include "host/runtime/classes.h"
#include "host/runtime/heap.h"

#include <string>
#include <string_view>
#include <vector>

#ifndef QUILLIX_PLUGIN_PATH
#define QUILLIX_PLUGIN_PATH "Quillix.so"
#endif

namespace host {

// A Boolean as a host may hand it over, of which the lowest eight bits count.
constexpr HostBoolean withRubbish(REALboolean value) {
  return static_cast<HostBoolean>(0x5ABE3100u | value);
}

// What a plug-in receives as its resolver.
void *resolve(const char *entryName);

// --- faults on request ---

// From now on the host lacks what is named: an entry point ("CreateInstance"), a global or object
// method ("Count() as Integer", as a plug-in asks for it), or a string property ("NativePath").
void withhold(std::string_view name);
void restore(std::string_view name);
void restoreAll();

// How often a plug-in has asked for an entry point, or for a global or object method.
int lookups(std::string_view name);
std::vector<std::string> lookedUp(); // the names of all that was asked for
void forgetLookups();

// Makes one call answer nil: the nth from now, 1 being the next. Entry points that can refuse are
// "CreateInstance" and "REALBuildStringWithEncoding". 0 takes the request back.
void refuseCall(std::string_view entryName, int nth);
bool refusalPending(std::string_view entryName);

// --- the plug-in ---

// Loads a plug-in file and runs its entry point. Throws std::runtime_error, which names the step
// that failed and why.
void load(const std::string &path);

// The file that the environment variable QUILLIX_PLUGIN_PATH names, or else this one: as a rule
// the plug-in with which the program was built.
std::string pluginPath(std::string_view otherwise = QUILLIX_PLUGIN_PATH);

// The interface version that the plug-in announced; 0 when none has.
int announcedVersion();

// Forgets the plug-in and every class defined since, and closes its file. Nothing may be alive,
// and nothing of it may run afterwards: stop the interpreter first.
void unload();

} // namespace host
