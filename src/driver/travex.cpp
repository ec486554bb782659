#include "driver/travex.h"

#include "foundation/log/xdebug.h"
#include "foundation/platform/message_box.h"
#include "foundation/settings/xregistry.h"
#include "tags/tag_settings.h"

namespace {
constexpr const char16_t* ProductLine = u"Tonvale Travex Core                          2025";
constexpr const char16_t* Ruler = u" 0%-----------25%-----------50%-----------75%-----------100%";
}  // namespace

TvTravex::TvTravex(const XString& commandLine, const TvConsoleHandles& handles) : consoleHandles(handles) {
    XSetDefaultRegistryKey(HKEY_CURRENT_USER, XProductRegistryKey);
    ApplyFirstRunDefaults();

    // Debug set-up. With the standard descriptors guaranteed at process entry the console
    // fails only when descriptor 1 is unusable all the same.
    if (XDebugOpenFile(debugFile, debugWatchEvent)) logSinks.DebugLog = debugFile.Handle();
    if (!console.Attach(consoleHandles.output, consoleHandles.error)) {
        XMessageBox(u"GetStdHandle", u"Console Error", XBox::Ok);
        exitStatus = 1;
        return;
    }
    CreateOutputPipes();
    StartOutputThread();

    SplitCommandLine(commandLine);
    if (!ReadCommandFiles()) {
        XMessageBox(u"Error reading Tv Command File.", u"Travex Core", XBox::Ok);
        exitStatus = 1;
        return;
    }
    if (!ParseCommandLine()) {
        exitStatus = 1;
        return;
    }
    if (!plan.silent) ShowBanner();

    StartWatchdog();
    clTvDecoder decoder;

    if (!plan.silent) PrintSummary();

    Run(decoder);
    decoder.Unload();
    StopWatchdog();
}

TvTravex::~TvTravex() {
    // The output thread drains both pipes to their end before it stops; it may still fail the
    // run, so it stops while the run's record is there.
    routes.Stop();
}

void TvTravex::ReportError(const XString& message, const char* function) { XDebugError(message, logSinks, function); }

void TvTravex::DebugLog(const XString& text, const char* function) { XDebugWrite(text, logSinks, function); }

void TvTravex::PrintLine(const XString& text, bool withLineEnd) { console.PrintLine(text, withLineEnd); }

void TvTravex::ShowBanner() {
    PrintLine(XString(), true);
    PrintLine(ProductLine, true);
    PrintLine(XString(), true);
}

void TvTravex::ShowUsage() {
    ShowBanner();
    PrintLine(
        u"Usage: Travex.exe -infile=\"filename\" -outfile=\"filename\" "
        u"-convert_to=\"codec\" [codec compression CLI]",
        true);
}

void TvTravex::PrintSummary() {
    PrintLine(XString(u"Encoding: ") + plan.encoderName, true);
    PrintLine(XString(u"Audio Source: ") + (plan.stdinIsSource ? XString(u"Standard Input") : plan.inFile), true);
    PrintLine(XString(u"Audio Destination: ") + plan.outFile, true);
    if (!dsps.IsEmpty()) {
        XString names;
        for (size_t i = 0; i < dsps.Count(); ++i) {
            if (i > 0) names.AppendFast(u", ");
            names.AppendFast(dsps.Entries()[i]->name);
        }
        PrintLine(XString(u"DSP Effects: ") + names, true);
    }
    PrintLine(XString(), true);
    PrintLine(Ruler, true);
    // The progress stars follow on this line.
    PrintLine(u" ", false);
}
