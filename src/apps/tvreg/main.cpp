// tvreg: reads and writes the settings store from a shell.
#include "apps/tvreg/reg_tool.h"
#include "foundation/platform/console.h"
#include "foundation/platform/file_io.h"

namespace {

void Write(XFileHandle handle, const XString& text) {
    if (text.IsEmpty()) return;
    XString copy = text;
    const char* utf8 = copy.Utf8();
    size_t size = 0;
    while (utf8[size]) ++size;
    XWriteHandle(handle, utf8, size);
}

// One line from standard input; "y" or "yes" in any case means yes.
bool AskOnInput(const XString& question) {
    Write(XStdOutputHandle, question);
    char line[64];
    uint32_t used = 0;
    for (;;) {
        char c = 0;
        uint32_t done = 0;
        if (!XSysReadFile(XStdInputHandle, &c, 1, &done) || done == 0 || c == '\n') break;
        if (used < sizeof line - 1) line[used++] = c;
    }
    line[used] = 0;
    XString answer(line, true);
    answer.TrimLeft();
    answer.TrimRight();
    answer.TrimRightChar(u'\r');
    answer = answer.ToLower();
    return answer == u"y" || answer == u"yes";
}

}  // namespace

int main(int argc, char** argv) {
    XEnsureStandardHandles();
    XStringList args;
    for (int i = 1; i < argc; ++i) args.AddMove(XString(argv[i], true));
    XRegToolIo io;
    io.confirm = AskOnInput;
    int status = XRegTool(args, io);
    Write(XStdOutputHandle, io.out);
    Write(XStdErrorHandle, io.err);
    return status;
}
