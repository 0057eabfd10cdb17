// The kepj2k commands that live outside main.cpp.
#pragma once

#include <string>

#include "encoder.h"

namespace kepj2k {

// Consumes option argv[i] (and its value) into opt; false when it is not an encoder option or
// its value is invalid.
bool parseEncodeOption(int argc, char** argv, int& i, EncodeOptions& opt);
int cmdEncode(int argc, char** argv);
int cmdDemo(const std::string& dir);

}  // namespace kepj2k
