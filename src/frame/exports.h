// The two exported entry points of a shader class. Everything else in the library is hidden,
// so these are the only symbols a host can resolve: <Class>_getAPIVersion and <Class>_create.
#pragma once

#include <cstdint>
#include <new>

#include "shader_base.h"

#define KESTREL_EXPORT __attribute__((visibility("default")))

// Place at global scope in the class's source file, after the class definition.
#define KESTREL_EXPORT_SHADER(Class)                                                            \
    extern "C" KESTREL_EXPORT int32_t Class##_getAPIVersion() { return ::ksi::kApiVersion; }    \
    extern "C" KESTREL_EXPORT ::ksi::IShaderBase* Class##_create() {                            \
        return new (std::nothrow)::ksi::Class();                                                \
    }
