#include "plugin_library.h"

#include <dlfcn.h>
#include <elf.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "name_match.h"

namespace kestrel {

namespace {
constexpr const char* kCreateSuffix = "_create";
constexpr const char* kVersionSuffix = "_getAPIVersion";

bool endsWith(const std::string& s, const std::string& suffix) {
    return s.size() > suffix.size() && s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0;
}

template <class T>
T readAt(const std::vector<char>& bytes, std::size_t offset, const std::string& path) {
    if (offset > bytes.size() || bytes.size() - offset < sizeof(T)) {
        throw LoadError("'" + path + "' is truncated: its ELF tables point past the end of the file");
    }
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof(T));
    return value;
}
}  // namespace

std::vector<std::string> readExportedSymbols(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        throw LoadError("'" + path + "' is not a regular file, so it cannot be a shared library");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) throw LoadError("cannot open '" + path + "': " + std::strerror(errno));
    std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());

    // Too short for an ELF header, or another header: not a library at all, rather than a
    // truncated one.
    Elf64_Ehdr header{};
    if (bytes.size() >= sizeof header) std::memcpy(&header, bytes.data(), sizeof header);
    if (bytes.size() < sizeof header || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_ident[EI_CLASS] != ELFCLASS64) {
        throw LoadError("'" + path +
                        "' is not a 64-bit ELF shared library: it does not start with a 64-bit ELF header");
    }
    std::vector<Elf64_Shdr> sections;
    for (std::size_t i = 0; i < header.e_shnum; ++i) {
        sections.push_back(readAt<Elf64_Shdr>(bytes, header.e_shoff + i * sizeof(Elf64_Shdr), path));
    }
    std::vector<std::string> names;
    for (const Elf64_Shdr& section : sections) {
        if (section.sh_type != SHT_DYNSYM || section.sh_entsize != sizeof(Elf64_Sym)) continue;
        if (section.sh_link >= sections.size()) throw LoadError("'" + path + "' has a broken dynamic symbol table");
        const Elf64_Shdr& strings = sections[section.sh_link];
        if (strings.sh_offset > bytes.size() || bytes.size() - strings.sh_offset < strings.sh_size) {
            throw LoadError("'" + path + "' is truncated: its symbol name table reaches past the end of the file");
        }
        for (std::size_t i = 1; i < section.sh_size / sizeof(Elf64_Sym); ++i) {
            const auto symbol = readAt<Elf64_Sym>(bytes, section.sh_offset + i * sizeof(Elf64_Sym), path);
            if (symbol.st_shndx == SHN_UNDEF || ELF64_ST_TYPE(symbol.st_info) != STT_FUNC) continue;
            if (ELF64_ST_VISIBILITY(symbol.st_other) != STV_DEFAULT) continue;
            if (symbol.st_name >= strings.sh_size) throw LoadError("'" + path + "' has a broken symbol name table");
            const char* begin = bytes.data() + strings.sh_offset + symbol.st_name;
            const char* end = bytes.data() + std::min<std::size_t>(bytes.size(), strings.sh_offset + strings.sh_size);
            names.emplace_back(begin, std::find(begin, end, '\0'));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

ShaderPtr ShaderClass::instantiate() const {
    ksi::IShaderBase* object = create();
    if (!object) throw LoadError(name + "_create returned no object (out of memory)");
    return ShaderPtr(object);
}

PluginLibrary::PluginLibrary(const std::string& path) : path_(path) {
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
        throw LoadError("shader library '" + path + "' does not exist");
    }
    // The class list comes from the file itself: it also tells a wrong file from a broken one.
    std::set<std::string> symbols;
    for (std::string& symbol : readExportedSymbols(path)) symbols.insert(std::move(symbol));
    for (const std::string& symbol : symbols) {
        if (!endsWith(symbol, kCreateSuffix)) continue;
        std::string name = symbol.substr(0, symbol.size() - std::strlen(kCreateSuffix));
        if (symbols.count(name + kVersionSuffix)) classNames_.push_back(name);
    }
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle_) {
        const char* reason = dlerror();
        throw LoadError("cannot load shader library '" + path + "': " + (reason ? reason : "unknown reason"));
    }
}

PluginLibrary::~PluginLibrary() {
    if (handle_) dlclose(handle_);
}

ShaderClass PluginLibrary::findClass(const std::string& className) const {
    void* create = dlsym(handle_, (className + kCreateSuffix).c_str());
    void* version = dlsym(handle_, (className + kVersionSuffix).c_str());
    if (!create && !version) {
        throw LoadError("unknown shader class '" + className + "' in '" + path_ + "'" +
                        didYouMean(className, classNames_));
    }
    if (!create || !version) {
        throw LoadError("shader class '" + className + "' in '" + path_ + "' lacks its export " + className +
                        (create ? kVersionSuffix : kCreateSuffix));
    }
    ShaderClass result;
    result.name = className;
    result.create = reinterpret_cast<ksi::CreateShaderFunction>(create);
    result.apiVersion = reinterpret_cast<ksi::GetApiVersionFunction>(version)();
    if (result.apiVersion != ksi::kApiVersion) {
        throw LoadError("shader class '" + className + "' in '" + path_ + "' has API version " +
                        std::to_string(result.apiVersion) + "; this host needs " + std::to_string(ksi::kApiVersion));
    }
    return result;
}

std::string PluginLibrary::defaultPath() {
    std::error_code error;
    std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) return "libkestrel_shaders.so";
    // Installed, the library sits in the install's library directory (lib/x86_64-linux-gnu under
    // /usr on Debian); in the build tree, in lib.
    const std::filesystem::path root = program.parent_path().parent_path();
    for (const char* directory : {KESTREL_INSTALL_LIBDIR, "lib"}) {
        std::filesystem::path candidate = root / directory / "libkestrel_shaders.so";
        if (std::filesystem::exists(candidate, error)) return candidate.string();
    }
    return (root / "lib" / "libkestrel_shaders.so").string();
}

}  // namespace kestrel
