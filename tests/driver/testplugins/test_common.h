// Shared pieces of the test plug-ins: the call log and the script.
#pragma once
#include <cstdint>
#include <string>

#include "tonvale/plugin.h"

// Appends one line to the file named by TVT_LOG.
void TvtLog(const std::string& line);
// The value of "key=value" in TVT_SCRIPT (blank-separated), "" for a bare key, or the fallback
// when the key is absent.
std::string TvtScript(const std::string& key, const std::string& fallback = "\x01");
bool TvtHas(const std::string& key);
long TvtNumber(const std::string& key, long fallback);
std::string Narrow(const TvChar16* text);
// A line to one of the host's log handles, as UTF-16LE with CR LF.
void TvtWriteHandle(TvOsHandle handle, const std::string& text);
void TvtSleep(long milliseconds);
