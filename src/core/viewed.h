// Says that what a function gives is a view of an argument, or of the object itself, and may be used
// only as long as that lives. clang warns where a view outlives a temporary or a local object; other
// compilers do not know the attribute.
#pragma once

#if defined(__clang__)
#define QUILLET_VIEWED [[clang::lifetimebound]]
#else
#define QUILLET_VIEWED
#endif
