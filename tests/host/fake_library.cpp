// A shared library with shader-like exports that a real Kestrel library never has.
#include <cstdint>

#define FAKE_EXPORT extern "C" __attribute__((visibility("default")))

// A class built for a later interface version.
FAKE_EXPORT int32_t znFutureLight_getAPIVersion() { return 2725; }
FAKE_EXPORT void* znFutureLight_create() { return nullptr; }

// A class whose factory runs out of memory.
FAKE_EXPORT int32_t znNullLight_getAPIVersion() { return 2724; }
FAKE_EXPORT void* znNullLight_create() { return nullptr; }

// A class that lacks its version export.
FAKE_EXPORT void* znHalfLight_create() { return nullptr; }
