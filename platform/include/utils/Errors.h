// Host stand-in of <utils/Errors.h>: the framework's status_t and its codes (Linux values).
#pragma once

#include <stdint.h>

namespace android {

typedef int32_t status_t;

enum {
  OK = 0,
  NO_ERROR = OK,
  UNKNOWN_ERROR = INT32_MIN,
  NO_MEMORY = -12,
  INVALID_OPERATION = -38,
  BAD_VALUE = -22,
  BAD_TYPE = INT32_MIN + 1,
  NAME_NOT_FOUND = -2,
  PERMISSION_DENIED = -1,
  NO_INIT = -19,
  ALREADY_EXISTS = -17,
  DEAD_OBJECT = -32,
  FAILED_TRANSACTION = INT32_MIN + 2,
  BAD_INDEX = -75,
  NOT_ENOUGH_DATA = -61,
  WOULD_BLOCK = -11,
  TIMED_OUT = -110,
  UNKNOWN_TRANSACTION = -74,
  FDS_NOT_ALLOWED = INT32_MIN + 7,
  UNEXPECTED_NULL = INT32_MIN + 8,
};

}  // namespace android
