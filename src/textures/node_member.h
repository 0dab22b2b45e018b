// What a texture node contributes to the parameter block of a material it is compiled into: its
// members, each with the suffix that follows the node's path in the host-visible name, the
// registry operation and the member's offset in the node's parameter struct.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "frame/parameter_table.h"

namespace ksi {

struct NodeMember {
    const char* suffix;
    ParamKind kind;
    uint32_t offset;
};

// A node's members from its parameter list (frame/parameter_table.h): each suffix is "_" and
// the member's name.
#define KS_NODE_MEMBER_OF_P(Type, member, initialiser, ...) \
    ::ksi::NodeMember{"_" #member, ::ksi::paramKindOf<Type>(), static_cast<uint32_t>(offsetof(KsBlock, member))},
#define KS_NODE_MEMBER_OF_T(Operation, member, ...) \
    ::ksi::NodeMember{"_" #member, ::ksi::ParamKind::Operation, static_cast<uint32_t>(offsetof(KsBlock, member))},
#define KS_NODE_MEMBERS(Params, LIST) \
    ([] { using KsBlock = Params; return std::array{LIST(KS_SKIP_GROUP, KS_NODE_MEMBER_OF_P, KS_NODE_MEMBER_OF_T)}; }())

}  // namespace ksi
