// Parameter blocks and their declaration tables.
//
// Every shader keeps its parameters in one plain struct whose member order is the declaration
// order. A table of Declaration rows (name, registry operation, offset of the member) drives
// declareParameters, so a class's declarations are data, read top to bottom like its parameter
// list; copyParameters is a plain copy of the block, which copies texture handles shallowly.
// Both the struct's members and the rows come from one list per block (below), written once.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "host_interfaces.h"
#include "shader_base.h"
#include "types.h"

namespace ksi {

// A bool parameter as the host writes it: one byte, true when nonzero. A C++ bool member
// would make every byte other than 0 and 1 undefined on load (and comparisons of it wrong), yet
// hosts may write any nonzero byte for true.
struct ParamBool {
    uint8_t byte = 0;
    ParamBool() = default;
    constexpr ParamBool(bool value) : byte(value ? 1 : 0) {}
    constexpr operator bool() const { return byte != 0; }
};
static_assert(sizeof(ParamBool) == 1 && std::is_trivially_copyable_v<ParamBool>);

// The registry operation a row is declared with.
enum class ParamKind : uint8_t {
    Bool,
    Int,
    Float,
    Float2,
    Float3,
    Float4,
    Matrix3,
    Matrix4,
    DataTexture,
    Texture,
    CubeTexture,
    Varying,
};

struct Declaration {
    ParamKind kind;
    int32_t varyingType;  // VaryingType of a Varying row, 0 otherwise
    const char* name;
    uint32_t offset;      // of the member in the block, or of a varying in the record's varyings area
};

template <class T>
constexpr ParamKind paramKindOf() {
    if constexpr (std::is_same_v<T, ParamBool>) return ParamKind::Bool;
    else if constexpr (std::is_same_v<T, int32_t>) return ParamKind::Int;
    else if constexpr (std::is_same_v<T, float>) return ParamKind::Float;
    else if constexpr (std::is_same_v<T, Float2>) return ParamKind::Float2;
    else if constexpr (std::is_same_v<T, Float3>) return ParamKind::Float3;
    else if constexpr (std::is_same_v<T, Float4>) return ParamKind::Float4;
    else if constexpr (std::is_same_v<T, Float3x3>) return ParamKind::Matrix3;
    else if constexpr (std::is_same_v<T, Float4x4>) return ParamKind::Matrix4;
    else {
        // A bool member would be undefined for the other nonzero bytes a host may write.
        static_assert(!std::is_same_v<T, bool>, "bool parameters are ParamBool members");
        static_assert(std::is_same_v<T, bool> || std::is_void_v<T>,
                      "texture members are T(Texture|DataTexture|CubeTexture, ...) entries of a list");
        return ParamKind::Bool;
    }
}

constexpr Declaration varying(VaryingType type, const char* name, uint32_t offset) {
    return {ParamKind::Varying, type, name, offset};
}

template <class T>
constexpr Declaration paramRow(const char* name, std::size_t offset) {
    return {paramKindOf<T>(), 0, name, static_cast<uint32_t>(offset)};
}

constexpr Declaration textureRow(ParamKind kind, const char* name, std::size_t offset) {
    return {kind, 0, name, static_cast<uint32_t>(offset)};
}

// ---------------------------------------------------------------------------------------------
// A parameter block written once. A class's parameters are one list macro LIST(G, P, T):
//
//   G("group")                              the parameters that follow belong to this group
//   P(Type, member, initialiser, doc)       a value parameter, named like its member
//   T(Operation, member, doc)               a TextureHandle: Texture, DataTexture or CubeTexture
//
// KS_BLOCK_MEMBERS writes the struct's members with their defaults and KS_BLOCK_ROWS the
// declaration rows, both in list order. The groups and docs (a meaning with its kind, range,
// unit, labels; see tools/catalogue/param_doc.h for the words) are read only by the catalogue
// generator: the library drops them, so they cost it nothing and reach hosts as data. An
// initialiser with a comma is parenthesised: `(Float3{1.0f, 0.5f, 0.1f})`.
#define KS_SKIP_GROUP(name)
#define KS_MEMBER_OF_P(Type, member, initialiser, ...) Type member = initialiser;
#define KS_MEMBER_OF_T(Operation, member, ...) TextureHandle member;
#define KS_BLOCK_MEMBERS(LIST) LIST(KS_SKIP_GROUP, KS_MEMBER_OF_P, KS_MEMBER_OF_T)

#define KS_ROW_OF_P(Type, member, initialiser, ...) ::ksi::paramRow<Type>(#member, offsetof(KsBlock, member)),
#define KS_ROW_OF_T(Operation, member, ...) \
    ::ksi::textureRow(::ksi::ParamKind::Operation, #member, offsetof(KsBlock, member)),
// The rows of LIST's members, which Block holds directly (or at the same offsets).
#define KS_BLOCK_ROWS(Block, LIST) \
    ([] { using KsBlock = Block; return std::array{LIST(KS_SKIP_GROUP, KS_ROW_OF_P, KS_ROW_OF_T)}; }())

// The rows of a nested block, moved to where the enclosing block holds it.
template <std::size_t N>
constexpr std::array<Declaration, N> shiftRows(std::array<Declaration, N> rows, std::size_t offset) {
    for (Declaration& row : rows) row.offset += static_cast<uint32_t>(offset);
    return rows;
}

// What a class is for, beside its parameter list; read by the catalogue generator only.
struct ClassDoc {
    const char* summary;      // one line
    const char* description;  // a few sentences: what it looks like, what drives it
    const char* toSee;        // what must be set for it to show anything
};

// Joins groups of rows into one table, in order.
template <std::size_t... N>
constexpr std::array<Declaration, (N + ...)> concatRows(const std::array<Declaration, N>&... groups) {
    std::array<Declaration, (N + ...)> rows{};
    std::size_t next = 0;
    ((std::copy(groups.begin(), groups.end(), rows.begin() + next), next += N), ...);
    return rows;
}

// Announces the mask and walks the rows, handing the registry each member's address.
void declareTable(ShaderParamRegistry* registry, IShaderBase* shader, int32_t mask, void* block,
                  const Declaration* rows, std::size_t count);

template <std::size_t N>
inline void declareTable(ShaderParamRegistry* registry, IShaderBase* shader, int32_t mask, void* block,
                         const Declaration (&rows)[N]) {
    declareTable(registry, shader, mask, block, rows, N);
}

template <std::size_t N>
inline void declareTable(ShaderParamRegistry* registry, IShaderBase* shader, int32_t mask, void* block,
                         const std::array<Declaration, N>& rows) {
    declareTable(registry, shader, mask, block, rows.data(), N);
}

// Base of every concrete class: Base is one of the three shader bases, Params the block. The
// block is the object's only data member, so copying it copies the whole state.
template <class Base, class Params>
class ParameterizedShader : public Base {
public:
    void copyParameters(const IShaderBase* other) override {
        params = static_cast<const ParameterizedShader*>(other)->params;
    }

protected:
    Params params;
};

}  // namespace ksi
