// The version records, one per code path. They share the Version and BuildDate strings.

#include "pjdispatch.h"

namespace {

const char kVersion[] = "8.2.2 (r46212)";
const char kBuildDate[] = "Apr  1 2015";

const KepLibraryVersion kVersionX1 = {8, 2, 2, 46212, {'x', '1', 0, 0}, "kepJP SSSE3 (x1)", kVersion, kBuildDate};
const KepLibraryVersion kVersionX2 = {8, 2, 2, 46212, {'x', '2', 0, 0}, "kepJP Tern (x2)", kVersion, kBuildDate};

}  // namespace

const KepLibraryVersion* own_kepjGetLibVersion_x1(void) { return &kVersionX1; }
const KepLibraryVersion* own_kepjGetLibVersion_x2(void) { return &kVersionX2; }
