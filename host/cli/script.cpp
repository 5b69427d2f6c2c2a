#include "host/script/script.h"
#include "host/cli/cli.h"
#include "host/runtime/platform.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

const char *const cli::kScriptHelp =
    R"(usage: quillix-host script [--check] [--folder FOLDER] FILE.xojo_script

Runs host code: a script in the host's own language, with all classes of the plug-in. Print writes a
line. When the script ends, its objects go and Python is stopped; then nothing may be left.
--check only reads the script. FOLDER is what the script knows as ScriptFolder, in place of the
folder of the file.

The language is that of the host's scripts: Var and Const; If, For, For Each, While, Do, Select
Case; Function, Sub, Class (Inherits, Constructor, Destructor, Super, Shared) and Module; arrays;
Try, Catch, Finally and Raise; AddressOf and AddHandler; the members of texts, numbers and arrays that
host code uses most. It has no ByRef, default values, computed properties, delegates or Variant, and of the functions outside of classes only Print, Array, Chr and EndOfLine. #Pragma is read and
ignored.
Integer has 64 bits, and the plug-in's Integer parameters take the low 32 of them.

What the host has in its programs, though not in its scripts: StdOut.Write(text), StdIn.ReadLine and
EndOfFile, FolderItem (New FolderItem(path), Child, Parent, Name, Exists, NativePath), MemoryBlock (its numbers,
StringValue, Size, LittleEndian; it is assigned to and from String, and to Ptr); and ScriptFolder.

Exit status: 0 success; 1 an error in the script, shown as FILE:LINE: message on standard error;
2 wrong usage; 3 something was still alive at the end that should have been gone.
)";

int cli::script(Arguments arguments) {
  bool isCheck = false;
  std::string folder;
  while (!arguments.empty() && arguments[0][0] == '-') {
    const std::string option = arguments[0];
    if (option == "--check")
      isCheck = true;
    else if (option == "--folder" && arguments.size() > 1) {
      folder = arguments[1];
      arguments = arguments.subspan(1);
    } else
      return badUsage("unknown option " + option, kScriptHelp);
    arguments = arguments.subspan(1);
  }
  if (arguments.size() != 1)
    return badUsage("script needs one file", kScriptHelp);
  const std::string file = arguments[0];
  const std::filesystem::path path = host::platform::pathOf(file);
  std::ifstream source(path, std::ios::binary);
  if (!source || std::filesystem::is_directory(path)) {
    std::fprintf(stderr, "quillix-host: %s cannot be read: %s\n", file.c_str(),
                 std::strerror(source ? EISDIR : errno));
    return kBadUsage;
  }
  const std::string text{std::istreambuf_iterator<char>(source), {}};
  if (folder.empty())
    folder = host::platform::textOf(std::filesystem::absolute(path).parent_path());
  try {
    const ::script::Program program = ::script::parse(text);
    if (isCheck)
      return kSuccess;
    if (!loadPlugin())
      return kFailure;
    return finish(::script::run(program, host::platform::absolute(folder)));
  } catch (const ::script::Error &error) {
    std::fprintf(stderr, "%s:%d: %s\n", file.c_str(), error.line, error.what());
    return finish(kFailure);
  }
}
