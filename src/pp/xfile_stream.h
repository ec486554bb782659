#pragma once
// A foundation XFile as a seekable PP file. Failures of the XFile become the mapped file
// exceptions of its last error.
#include <memory>

#include "pp/stream.h"

class XFile;

namespace PP {

// The XFile must stay open and alive while the result is used.
fileInPtr wrapXFile(XFile& file);
// The result owns the XFile and closes it with its last reference.
fileInPtr wrapXFile(std::unique_ptr<XFile> file);

}  // namespace PP
