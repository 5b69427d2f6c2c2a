#include "host/script/project.h"

#include "host/runtime/platform.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace script {
namespace {

namespace fs = std::filesystem;
using host::platform::pathOf;
using host::platform::textOf;

// What every application has, before its own code.
constexpr std::string_view kPrelude = R"(Class ConsoleApplication
  ExecutableFile As FolderItem
End Class
Module SpecialFolder
  Resources As FolderItem
  Function Resource(name As String) As FolderItem
    Return Resources.Child(name)
  End Function
End Module
)";

[[noreturn]] void fail(const fs::path &file, std::size_t line, const std::string &fault) {
  throw std::runtime_error(textOf(file) + ":" + std::to_string(line) + ": " + fault);
}

std::string_view trimmed(std::string_view text) {
  constexpr const char *kBlanks = " \t\r";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  return begin == std::string_view::npos
             ? ""
             : text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

// -1 where there is none.
int wholeNumber(const std::string &text, int base = 10) {
  int result = -1;
  std::from_chars(text.data(), text.data() + text.size(), result, base);
  return result;
}

// What stands before and behind the first of these signs.
std::pair<std::string_view, std::string_view> divided(std::string_view text, char sign) {
  const std::size_t at = text.find(sign);
  return {text.substr(0, at), at == std::string_view::npos ? "" : text.substr(at + 1)};
}

std::vector<std::string> linesOf(const fs::path &file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream || fs::is_directory(file))
    throw std::runtime_error(textOf(file) +
                             " cannot be read: " + std::strerror(stream ? EISDIR : errno));
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);)
    lines.push_back(std::move(line));
  return lines;
}

// A path with slashes: base64, and in that %20 for a blank.
std::string decoded(std::string_view base64) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  unsigned bits = 0;
  int count = 0;
  for (const char c : base64.substr(0, base64.find('='))) {
    bits = bits << 6 | static_cast<unsigned>(kDigits.find(c) & 63);
    if ((count += 6) >= 8)
      bytes += static_cast<char>(bits >> (count -= 8) & 255);
  }
  std::string path;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const bool isEscape = bytes[i] == '%' && i + 2 < bytes.size();
    path += isEscape ? static_cast<char>(wholeNumber(bytes.substr(i + 1, 2), 16)) : bytes[i];
    i += isEscape ? 2 : 0;
  }
  return path;
}

std::string literal(const std::string &text) {
  std::string result = "\"";
  for (const char c : text)
    result.append(c == '"' ? 2 : 1, c);
  return result + '"';
}

// The settings of a tag: Name = kLimit, Type = Double, Default = \"100"
std::map<std::string, std::string> settingsOf(std::string_view text) {
  std::map<std::string, std::string> settings;
  while (!text.empty()) {
    const auto [key, rest] = divided(text, '=');
    std::string_view value = trimmed(rest);
    if (value.starts_with("\\\"")) {
      const std::size_t end = std::min(value.find('"', 2), value.size());
      text = divided(value.substr(end), ',').second;
      value = value.substr(2, end - 2);
    } else {
      std::tie(value, text) = divided(value, ',');
    }
    settings[std::string(trimmed(key))] = trimmed(value);
  }
  return settings;
}

// The tags of a code file, line by line.
class Tags {
public:
  // The line as script: empty for a tag and for what only the IDE reads.
  std::string scriptOf(const fs::path &file, std::size_t number, const std::string &line) {
    const std::string_view text = trimmed(line);
    if (!text.starts_with("#tag "))
      return isCode() ? line : "";
    const auto [name, settings] = divided(trimmed(text.substr(5)), ',');
    if (name == "CompatibilityFlags" || name == "Instance" || text.starts_with("#tag Instance"))
      return "";
    if (!name.starts_with("End")) {
      open_.emplace_back(name);
      return name == "Constant" ? constant(settingsOf(settings)) : "";
    }
    if (open_.empty() || name.substr(3) != open_.back())
      fail(file, number, "#tag " + std::string(name) + " closes nothing");
    open_.pop_back();
    return "";
  }

  const std::vector<std::string> &open() const { return open_; }

private:
  bool isCode() const {
    return std::none_of(open_.begin(), open_.end(), [](const std::string &tag) {
      return tag == "ViewBehavior" || tag == "Note" || tag == "Constant";
    });
  }

  static std::string constant(std::map<std::string, std::string> settings) {
    const bool isText = settings["Type"] == "String";
    return "Const " + settings["Name"] + " = " +
           (isText ? literal(settings["Default"]) : settings["Default"]);
  }

  std::vector<std::string> open_;
};

std::size_t lineCount(std::string_view text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

} // namespace

Project::Project(const fs::path &manifest) : folder_(fs::absolute(manifest).parent_path()) {
  const std::vector<std::string> lines = linesOf(manifest);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const auto [key, value] = divided(trimmed(lines[i]), '=');
    const fs::path file =
        folder_ / pathOf(std::string(divided(divided(value, ';').second, ';').first));
    if (key == "Type" && value != "Console")
      fail(manifest, i + 1, "only console projects run here");
    if (key == host::platform::kProgramNameKey)
      name_ = value;
    else if (key == "Class" || key == "Module")
      readCode(file);
    else if (key == "BuildSteps")
      readSteps(file);
    else if (key != "Folder" && std::count(value.begin(), value.end(), ';') > 1)
      fail(manifest, i + 1, "items of the kind " + std::string(key) + " are not known here");
  }
  if (name_.empty())
    throw std::runtime_error(textOf(manifest) + " lacks the key " +
                             host::platform::kProgramNameKey);
}

void Project::readCode(const fs::path &file) {
  Code code{file, {}};
  Tags tags;
  std::size_t number = 0;
  for (const std::string &line : linesOf(file))
    code.source += tags.scriptOf(file, ++number, line) + '\n';
  if (!tags.open().empty())
    fail(file, number, "#tag " + tags.open().back() + " is not closed");
  code_.push_back(std::move(code));
}

void Project::readSteps(const fs::path &file) {
  constexpr int kReleasesOnly = 2;
  bool isHere = false; // in the list of this system
  std::map<std::string, std::string> settings;
  std::size_t number = 0;
  for (const std::string &line : linesOf(file)) {
    ++number;
    const auto [word, rest] = divided(trimmed(line), ' ');
    if (word == "Begin" && rest.starts_with("BuildStepList "))
      isHere = rest.substr(14) == host::platform::kBuildTarget;
    else if (word == "Begin")
      settings = {{"Begin", std::string(divided(rest, ' ').first)}};
    else if (word == "End" && isHere && settings["Begin"] == "CopyFilesBuildStep") {
      if (settings["FolderItem"].empty() || settings["Destination"].empty())
        fail(file, number, "FolderItem or Destination is missing");
      if (wholeNumber(settings["AppliesTo"]) != kReleasesOnly)
        copies_.push_back({folder_ / pathOf(decoded(settings["FolderItem"])),
                           wholeNumber(settings["Destination"]), settings["Subdirectory"]});
      settings.clear();
    } else if (const auto [key, value] = divided(trimmed(line), '='); !value.empty())
      settings[std::string(trimmed(key))] = trimmed(value);
  }
}

Application Project::layOut(const fs::path &folder, const fs::path &plugin) const {
  const host::platform::Layout layout = host::platform::layoutOf(name_);
  Application made{folder / pathOf(layout.program), folder / pathOf(layout.libraries),
                   folder / pathOf(layout.resources)};
  const fs::path targets[] = {made.program.parent_path(), made.resources, made.libraries};
  try {
    for (const fs::path &target : targets)
      fs::create_directories(target);
    fs::copy_file(plugin, made.libraries / plugin.filename(), fs::copy_options::overwrite_existing);
    for (const Copy &copy : copies_) {
      const std::size_t known = std::size(targets);
      if (copy.destination < 0 || static_cast<std::size_t>(copy.destination) >= known)
        throw std::runtime_error("files have the destination " + std::to_string(copy.destination));
      const bool isFolder = !copy.from.has_filename();
      const fs::path from = isFolder ? copy.from.parent_path() : copy.from;
      const fs::path target = targets[copy.destination] / pathOf(copy.subfolder);
      fs::create_directories(target);
      fs::copy(from, target / from.filename(),
               fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    }
  } catch (const fs::filesystem_error &error) {
    throw std::runtime_error("the application cannot be laid out: " + std::string(error.what()));
  }
  return made;
}

std::string Project::source(const Application &application,
                            const std::vector<std::string> &arguments) const {
  std::string result(kPrelude);
  for (const Code &code : code_)
    result += code.source;
  const std::string program = literal(textOf(application.program));
  result += "Var App As New App\nApp.ExecutableFile = New FolderItem(" + program +
            ")\nSpecialFolder.Resources = New FolderItem(" +
            literal(textOf(application.resources)) + ")\nReturn App.Run(Array(" + program;
  for (const std::string &argument : arguments)
    result += ", " + literal(argument);
  return result + "))\n";
}

std::string Project::where(int line) const {
  std::size_t rest = static_cast<std::size_t>(line) - lineCount(kPrelude);
  for (const Code &code : code_) {
    const std::size_t count = lineCount(code.source);
    if (rest >= 1 && rest <= count)
      return textOf(code.file) + ":" + std::to_string(rest);
    rest -= count;
  }
  return textOf(folder_); // what is called is not there
}

} // namespace script
