#pragma once
// The question box of the interactive callers. A console program on POSIX has no desktop:
// the caption and the text go to standard error and no one is asked.
#include "foundation/text/xstring.h"

namespace XBox {
constexpr unsigned Ok = 0x0;
constexpr unsigned RetryCancel = 0x5;
constexpr unsigned IconInformation = 0x40;
// Answers.
constexpr int IdOk = 1;
constexpr int IdCancel = 2;
constexpr int IdRetry = 4;
}  // namespace XBox

// Shows text and caption; returns the answer. Without a desktop a Retry/Cancel question is
// answered Cancel, anything else OK.
int XMessageBox(const XString& text, const XString& caption, unsigned style);
