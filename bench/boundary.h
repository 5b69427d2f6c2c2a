// What the work by hand does beside Python's C API: nothing, or also everything that the declared
// interface asks of the host for the same work. The second tells the host's own share.
#pragma once

#include "bench/bench.h"

#include "host/classes.h"
#include "host/runtime.h"

namespace bench {

// Which of the plug-in's classes an instance stands for: their instances run differently many class
// constructors and destructors.
enum class Wrapper { Entity, Parameters, List, Result, Function };

// Without a host.
struct Alone {
  static constexpr const char *kColumn = "capi";

  struct Object {
    explicit Object(Wrapper) {}
    ~Object() {} // so that an unused one is no warning
    void lockAndUnlock() const {}
  };

  // A string that host code has.
  class String {
  public:
    explicit String(std::string_view text) : text_(text) {}
    std::string_view text() const { return text_; }
    const char *name() const { return text_.data(); }
    void lockAndUnlock() const {}

  private:
    std::string text_;
  };

  static host::Traffic traffic(const char *) { return {}; }
  static void returnString(std::string_view) {}
};

// With the calls that the plug-in cannot do without, through entries that are looked up by name like
// its own: a new instance for every wrapper, which ends at the last unlock; the count and the bytes
// of every string that goes in; the bytes of a name; a new string for every one that comes out; and
// the locks on what is kept.
class WithHost {
public:
  static constexpr const char *kColumn = "host";

  class Object {
  public:
    explicit Object(Wrapper wrapper)
        : object_(entries.createInstance(entries.types[static_cast<std::size_t>(wrapper)])) {}
    ~Object() { entries.unlockObject(object_); }
    Object(const Object &) = delete;
    Object &operator=(const Object &) = delete;
    void lockAndUnlock() const {
      entries.lockObject(object_);
      entries.unlockObject(object_);
    }

  private:
    REALobject object_;
  };

  class String {
  public:
    explicit String(std::string_view text) : string_(host::newString(text)) {}
    ~String() { host::unlock(string_); }
    String(const String &) = delete;
    String &operator=(const String &) = delete;

    std::string_view text() const {
      const std::int32_t length = entries.stringLength(string_);
      return {entries.getCString(string_), static_cast<std::size_t>(length)};
    }
    const char *name() const { return entries.getCString(string_); }
    void lockAndUnlock() const {
      entries.lockString(string_);
      entries.unlockString(string_);
    }

  private:
    REALstring string_;
  };

  static void returnString(std::string_view text) {
    entries.unlockString(
        entries.buildString(text.data(), static_cast<std::int32_t>(text.size()), kEncodingUTF8));
  }

  // Looks the entries and classes up; the first to be called.
  static void prepare();

  static host::Traffic traffic(const char *row) { return rowOf(row).host; }

private:
  static struct Entries {
    REALobject (*createInstance)(REALclassRef);
    void (*lockObject)(REALobject);
    void (*unlockObject)(REALobject);
    void (*lockString)(REALstring);
    void (*unlockString)(REALstring);
    const char *(*getCString)(REALstring);
    std::int32_t (*stringLength)(REALstring);
    REALstring (*buildString)(const char *, std::int32_t, std::uint32_t);
    REALclassRef types[5]; // by Wrapper
  } entries;
};

} // namespace bench
