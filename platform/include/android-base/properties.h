// Host stand-in of <android-base/properties.h>. On a host build the properties are an
// in-process map, as libbase's own host build keeps them: SetProperty stores, Get* read back.
#pragma once

#include <string>

namespace android {
namespace base {

// "1", "y", "yes", "on", "true" read as true; "0", "n", "no", "off", "false" as false; anything
// else (including a missing or empty value) gives default_value.
bool GetBoolProperty(const std::string& key, bool default_value);

// The value, or default_value when the property is unset or empty.
std::string GetProperty(const std::string& key, const std::string& default_value);

bool SetProperty(const std::string& key, const std::string& value);

}  // namespace base
}  // namespace android
