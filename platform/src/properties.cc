#include <android-base/properties.h>

#include <map>
#include <mutex>

namespace android {
namespace base {

namespace {

std::mutex& Lock() {
  static std::mutex m;
  return m;
}

std::map<std::string, std::string>& Properties() {
  static std::map<std::string, std::string>* p = new std::map<std::string, std::string>();
  return *p;  // never destroyed: may be read from other static destructors
}

}  // namespace

std::string GetProperty(const std::string& key, const std::string& default_value) {
  std::lock_guard<std::mutex> hold(Lock());
  auto it = Properties().find(key);
  return (it == Properties().end() || it->second.empty()) ? default_value : it->second;
}

bool GetBoolProperty(const std::string& key, bool default_value) {
  const std::string v = GetProperty(key, "");
  if (v == "1" || v == "y" || v == "yes" || v == "on" || v == "true") return true;
  if (v == "0" || v == "n" || v == "no" || v == "off" || v == "false") return false;
  return default_value;
}

bool SetProperty(const std::string& key, const std::string& value) {
  std::lock_guard<std::mutex> hold(Lock());
  Properties()[key] = value;
  return true;
}

}  // namespace base
}  // namespace android
