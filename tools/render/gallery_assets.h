// The images the gallery stage and previews use, generated rather than downloaded: a lat-long
// sky with a sun and a soft box, a checker, a perforation mask, a flake-normal map, a grey
// noise, a height map of round bumps and a speckled brick face. Deterministic, so every build renders the same gallery.
#pragma once

#include <string>
#include <vector>

namespace kestrel::gallery {

// Names of the files writeAssets creates.
std::vector<std::string> assetNames();

// Writes every asset into the directory (created if missing), each through a temporary file.
// Throws std::runtime_error naming a file that cannot be written.
void writeAssets(const std::string& directory);

// Whether every asset is present in the directory.
bool assetsPresent(const std::string& directory);

}  // namespace kestrel::gallery
