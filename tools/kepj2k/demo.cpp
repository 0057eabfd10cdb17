// kepj2k demo: the built-in test image through several encoder settings.
#include "commands.h"

namespace kepj2k {
int cmdDemo(const std::string&) { return 1; }
}  // namespace kepj2k
