// Host stand-in of <utils/Log.h>: the liblog macros, as libutils users get them.
#pragma once

#include <log/log.h>
