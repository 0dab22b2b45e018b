// Kestrel Shaders SDK: everything a host needs to load and drive the shader library.
#pragma once

#define KESTREL_SHADERS_VERSION_MAJOR 1
#define KESTREL_SHADERS_VERSION_MINOR 0

#include "host_interfaces.h"
#include "shader_base.h"
#include "shading_record.h"
#include "types.h"
