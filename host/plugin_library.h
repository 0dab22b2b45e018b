// Loading the shader library the way a renderer does: dlopen the file, resolve each class's two
// exports by name, check the interface version, create objects.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <kestrel/kestrel.h>

namespace kestrel {

// A failure to load the library or find a class in it; what() is one sentence for the user.
class LoadError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Objects are destroyed through their virtual destructor, which runs inside the library: the
// library must stay loaded as long as any object lives.
using ShaderPtr = std::unique_ptr<ksi::IShaderBase>;

// One class of the library, with its exports resolved and its version checked.
struct ShaderClass {
    std::string name;
    ksi::CreateShaderFunction create = nullptr;
    int32_t apiVersion = 0;

    // Creates one object; throws LoadError when the library returns null.
    ShaderPtr instantiate() const;
};

class PluginLibrary {
public:
    // Opens the library at path; throws LoadError naming the file and the loader's reason.
    explicit PluginLibrary(const std::string& path);
    ~PluginLibrary();
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;

    const std::string& path() const { return path_; }

    // Every class the library exports (both <Class>_create and <Class>_getAPIVersion present),
    // read from its dynamic symbol table, sorted by name.
    const std::vector<std::string>& classNames() const { return classNames_; }

    // Resolves a class; throws LoadError for an unknown class (naming close matches), a missing
    // export, or an interface version other than ksi::kApiVersion.
    ShaderClass findClass(const std::string& className) const;

    // The library beside the running program: <dir of program>/../<install library directory>
    // when installed, <dir of program>/../lib in the build tree.
    static std::string defaultPath();

private:
    std::string path_;
    void* handle_ = nullptr;
    std::vector<std::string> classNames_;
};

// Names of the exported functions of an ELF shared object's dynamic symbol table (defined ones
// only). Throws LoadError when the file cannot be read as a 64-bit ELF object.
std::vector<std::string> readExportedSymbols(const std::string& path);

}  // namespace kestrel
