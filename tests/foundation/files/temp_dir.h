#pragma once
// The shared fresh folder, with paths also in the foundation's own text type.
#include <string>

#include "foundation/text/xstring.h"
#include "support/temp_folder.h"

class TestDir : public tvtest::TempFolder {
public:
    XString X(const std::string& name = "") const { return XString(Str(name).c_str(), true); }
};
