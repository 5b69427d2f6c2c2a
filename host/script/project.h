// A console project of the host's, in its text format: a manifest and the files that it names.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace script {

// Where a built application has what belongs to it.
struct Application {
  std::filesystem::path program;
  std::filesystem::path libraries;
  std::filesystem::path resources;
};

class Project {
public:
  // Reads the manifest, the code and the steps of the build for this system. What is wrong with a
  // file is a std::runtime_error, with file and line.
  explicit Project(const std::filesystem::path &manifest);

  // The application below a folder as a debug run has it: files copied, and the plug-in's library.
  // Throws a std::runtime_error.
  Application layOut(const std::filesystem::path &folder,
                     const std::filesystem::path &plugin) const;

  // The program that makes the application and runs it, as one script; its `Run` gets the program
  // and the arguments.
  std::string source(const Application &application,
                     const std::vector<std::string> &arguments) const;

  // "FILE:LINE" of a line in that.
  std::string where(int line) const;

private:
  struct Code {
    std::filesystem::path file;
    std::string source; // as script, line for line
  };
  struct Copy {
    std::filesystem::path from;
    int destination;
    std::string subfolder;
  };

  void readCode(const std::filesystem::path &file);
  void readSteps(const std::filesystem::path &file);

  std::filesystem::path folder_;
  std::string name_; // of the program, for this system
  std::vector<Code> code_;
  std::vector<Copy> copies_;
};

} // namespace script
