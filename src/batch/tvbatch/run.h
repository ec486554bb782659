#pragma once
// The tvbatch run: a whole library converted by travex children, one batch for the run.
#include "foundation/text/xstring_list.h"

// Arguments without the program's name; the exit status: 0 when every file converted (or was
// skipped as up to date), 1 otherwise.
int RunTvBatch(const XStringList& arguments);
