#include "batch/tv_convert_worker.h"

#include <string>

#include "batch/tv_child_process.h"
#include "foundation/files/xfile.h"
#include "foundation/paths/xtemp_file.h"
#include "foundation/platform/clock.h"

namespace {

// Follows a file that another process writes as UTF-16LE lines and hands out each complete
// line once.
class LineFollower {
public:
    void Poll(const std::function<void(const XString&)>& onLine) {
        if (!onLine) return;
        if (!file.IsOpen() && !file.OpenRead(path)) return;
        char chunk[4096];
        for (;;) {
            bool error = false;
            const uint32_t got = file.Read(chunk, sizeof chunk, XFile::FromCurrent, &error);
            if (got == 0 || error) break;
            pending.append(chunk, got);
        }
        size_t start = 0;
        for (size_t i = 0; i + 1 < pending.size(); i += 2) {
            if (pending[i] != '\n' || pending[i + 1] != '\0') continue;
            size_t end = i;
            if (end >= start + 2 && pending[end - 2] == '\r' && pending[end - 1] == '\0') end -= 2;
            onLine(XString(pending.data() + start, end - start, XString::Bytes::Utf16));
            start = i + 2;
        }
        pending.erase(0, start);
    }

    XString path;
    XFile file;
    std::string pending;
};

}  // namespace

XString TvConvertWorker::CommonText(uint32_t batchId, const XString& encoderName, const XString& encoderOptions,
                                    const XString& dspOptions) {
    XString text = XString(u"-batchid=\"") + XString::FormatUInt(batchId) + u"\" -convert_to=\"" + encoderName +
                   u"\" " + encoderOptions + u" " + dspOptions;
    return text;
}

XString TvConvertWorker::CommandText(const XString& inputPath, const XString& outputPath, const XString& commonText) {
    return XString(u"-infile=\"") + inputPath + u"\" -outfile=\"" + outputPath + u"\" " + commonText;
}

bool TvConvertWorker::Run(clTvBatchFile& file, const XString& commonText) {
    exitCode = -1;
    auto fail = [&](const char16_t* what) {
        file.errorLines.Add(XString(what) + u" " + XLastErrorText());
        file.hadErrors = 1;
        return false;
    };
    XTempFile commandFile("tvbcmd", ".txt");
    XTempFile errorPath("tvberr", ".txt");
    XTempFile outputPath("tvbout", ".txt");

    XString text = CommandText(file.inputPath, file.outputPath, commonText);
    if (!quitEventName.IsEmpty()) text += XString(u" -evtquit=\"") + quitEventName + u"\"";
    std::u16string bytes(text.View());
    if (!XFile::WriteWhole(commandFile, bytes.data(), bytes.size() * sizeof(char16_t))) {
        return fail(u"Unable to write the command file");
    }
    XFile errors, output;
    if (!errors.OpenCreate(errorPath) || !output.OpenCreate(outputPath)) {
        return fail(u"Unable to create the child's output files");
    }

    TvChildProcess child;
    child.converterPath = converterPath;
    child.schedulingLevel = schedulingLevel;
    if (!child.LaunchConverter(commandFile, XInvalidHandle, output.Handle(), errors.Handle())) {
        return fail(u"Unable to start the converter");
    }
    // The child holds its own copies of the two handles; ours read the files at the end.
    LineFollower follower;
    follower.path = outputPath;
    while (!child.HasEnded()) {
        if (quitEvent != nullptr) {
            // The child has the same event and ends by itself; the wait only gets shorter.
            quitEvent->Wait(PollMs);
        } else {
            XSleep(PollMs);
        }
        follower.Poll(onOutputLine);
        child.SyncPriority();
    }
    child.WaitAndClose(TvChildProcess::EndWaitMs, &exitCode);
    follower.Poll(onOutputLine);

    errors.Seek(0, XFile::FromStart);
    XString line;
    while (errors.ReadLine(line, true)) {
        if (!line.IsEmpty()) file.errorLines.Add(line);
    }
    if (file.errorLines.Count() > 0) file.hadErrors = 1;
    return true;
}
