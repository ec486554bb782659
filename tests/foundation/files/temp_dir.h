#pragma once
// The shared fresh folder, with paths also in the foundation's own text type, whose separators
// are the system's own ('/' in a name given here becomes '\' on Windows).
#include <string>

#include "foundation/text/xstring.h"
#include "support/temp_folder.h"

class TestDir : public tvtest::TempFolder {
public:
    XString X(const std::string& name = "") const {
        return XString(std::filesystem::path(Str(name)).make_preferred().string().c_str(), true);
    }
};
