// Host stand-in of <media/stagefright/foundation/ADebug.h>: the CHECK macro of stagefright.
#pragma once

#include <utils/Log.h>

#define LITERAL_TO_STRING_INTERNAL(x) #x
#define LITERAL_TO_STRING(x) LITERAL_TO_STRING_INTERNAL(x)

// A failed check aborts through liblog with the stringified condition and a "file:line" message.
#define CHECK(condition)                  \
  LOG_ALWAYS_FATAL_IF(!(condition), "%s", \
                      __FILE__ ":" LITERAL_TO_STRING(__LINE__) " CHECK(" #condition ") failed.")
