#include "driver/travex.h"

#include "foundation/platform/message_box.h"

int32_t g_exitStatus = 0;

namespace {
constexpr const char16_t* ProductLine = u"Tonvale Travex Core                          2025";
constexpr const char16_t* Ruler = u" 0%-----------25%-----------50%-----------75%-----------100%";
}  // namespace

TvTravex::TvTravex() {
    // The registry root for the whole process (HKEY_CURRENT_USER, Brightmoor's Tonvale key)
    // and ApplyFirstRunDefaults come first here, once the settings store exists.

    // Debug set-up. With the standard descriptors guaranteed at process entry this fails only
    // when descriptor 1 is unusable all the same.
    if (!console.Attach()) {
        console.MessageBox(u"GetStdHandle", u"Console Error");
        g_exitStatus = 1;
        return;
    }
    // The output thread (OutputPump over the internal pipes) starts here; until it exists
    // error lines go straight to the error stream through `console`.

    SplitCommandLine();
    if (!ReadCommandFiles()) {
        console.MessageBox(u"Error reading Tv Command File.", u"Travex Core");
        g_exitStatus = 1;
        return;
    }
    if (!ParseCommandLine()) {
        g_exitStatus = 1;
        return;
    }
    if (!silent) ShowBanner();

    // WatchdogPulse starts here, and the decoder wrapper is built on this frame.

    if (!silent) PrintSummary();

    // The run goes on with plug-in loading, the pump and the end steps.
}

TvTravex::~TvTravex() {
    // Stops the output thread once there is one; members free themselves.
}

void TvTravex::PrintLine(const XString& text, bool withLineEnd) {
    console.PrintLine(text, withLineEnd);
}

void TvTravex::ShowBanner() {
    PrintLine(XString(), true);
    PrintLine(ProductLine, true);
    PrintLine(XString(), true);
}

void TvTravex::ShowUsage() {
    ShowBanner();
    PrintLine(u"Usage: Travex.exe -infile=\"filename\" -outfile=\"filename\" "
              u"-convert_to=\"codec\" [codec compression CLI]",
              true);
}

void TvTravex::PrintSummary() {
    PrintLine(XString(u"Encoding: ") + encoderName, true);
    PrintLine(XString(u"Audio Source: ") + (stdinIsSource ? XString(u"Standard Input") : inFile),
              true);
    PrintLine(XString(u"Audio Destination: ") + outFile, true);
    if (!dsps.empty()) {
        XString names;
        for (size_t i = 0; i < dsps.size(); ++i) {
            if (i > 0) names.AppendFast(u", ");
            names.AppendFast(dsps[i]->name);
        }
        PrintLine(XString(u"DSP Effects: ") + names, true);
    }
    PrintLine(XString(), true);
    PrintLine(Ruler, true);
    // The progress stars follow on this line.
    PrintLine(u" ", false);
}
