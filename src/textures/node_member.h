// What a texture node contributes to the parameter block of a material it is compiled into: its
// members, each with the suffix that follows the node's path in the host-visible name, the
// registry operation and the member's offset in the node's parameter struct.
#pragma once

#include <cstdint>

#include "frame/parameter_table.h"

namespace ksi {

struct NodeMember {
    const char* suffix;
    ParamKind kind;
    uint32_t offset;
};

#define KS_NODE_MEMBER(Params, member, suffix) \
    ::ksi::NodeMember { suffix, ::ksi::paramKindOf<decltype(Params::member)>(), static_cast<uint32_t>(offsetof(Params, member)) }

}  // namespace ksi
