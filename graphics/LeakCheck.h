// A word to the leak checker of a sanitized build.
#pragma once

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define BELTPACK_LEAK_CHECK
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define BELTPACK_LEAK_CHECK
#endif

#ifdef BELTPACK_LEAK_CHECK
#include <sanitizer/lsan_interface.h>
#endif

namespace VelaGraphics {

// Tells that the heap object, with all that it points at, may be left to the end of the process. It can still
// be deleted. Does nothing without a leak checker.
inline void leaveToProcessEnd([[maybe_unused]] const void* object) {
#ifdef BELTPACK_LEAK_CHECK
    __lsan_ignore_object(object);
#endif
}

}  // namespace VelaGraphics
