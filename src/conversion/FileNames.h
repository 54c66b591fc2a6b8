#pragma once
// Small path and version text helpers. Paths may use either '\' or '/' as
// the folder separator, since hosts pass both.
#include <cstddef>

namespace ublox2trv {

inline constexpr size_t kPathSize = 256;
inline constexpr size_t kVersionTextSize = 32;

// Replaces the extension of path in place (the extension includes its dot;
// an empty one cuts the old extension off). Leading blanks are removed
// first. Null arguments or an empty path leave it alone. The result is cut
// to fit capacity bytes with its NUL; the answer is false when the new
// extension had to be cut, so that the name no longer ends in it.
bool SetFileExtension(char* path, const char* extension, size_t capacity);
// folder takes everything up to and including the last separator, name the
// rest; either may be null. Each output is cut to fit its capacity.
void SplitFilePath(const char* path, char* folder, size_t folderCapacity, char* name, size_t nameCapacity);
// 9.002207 -> "9.00.2207"; a negative value -> "(not available)".
void FormatVersion(double value, char* text, size_t capacity);

}  // namespace ublox2trv
