#pragma once
// What tvget does with its options: a HEAD exchange, a form post, or a file read through
// openFileOrUrl. Failures are exceptions with the text to show.
#include "options.h"

namespace tvget {

void fetch(const options& o);

}  // namespace tvget
