// The tag writer runs right after the encoder closed the output, when another process (a
// player, a virus scanner, the file indexer) may still hold the file: it waits a little for
// the file to open, then gives the plug-in several tries.
#include "tags/tag_writer.h"

#include "foundation/log/xdebug.h"
#include "foundation/paths/xpath.h"
#include "foundation/platform/clock.h"
#include "foundation/platform/file_io.h"
#include "foundation/platform/file_system.h"
#include "plugins/codec_handler.h"
#include "tags/id_tags.h"

namespace {

constexpr char kFunction[] = "TvTravex::IDTagWriter";
constexpr int kOpenTries = 30;
constexpr uint32_t kOpenPauseMs = 100;
constexpr int kWriteTries = 10;
constexpr uint32_t kWritePauseMs = 750;

bool DefaultCanOpen(const XString& path) {
    XFileHandle file =
        XSysOpenFile(path, XAccess::Read, XShare::Read | XShare::Write, XDisposition::OpenExisting, XAttributeNormal);
    if (file == XInvalidHandle) return false;
    XSysCloseHandle(file);
    return true;
}

}  // namespace

bool XCodecTagDecoder::Load(const XString& name, const PluginLogHandles& logs) {
    return clTvCodecHandler::LoadDecoderForFile(name, decoder, &logs, module, false);
}

int32_t XCodecTagDecoder::SetIDTags(const XString& path, const void* block, uint32_t size) {
    PluginArgs args{};
    args.Text = path.Text();
    // The record's field isn't const; the plug-in only reads the block.
    args.Data = const_cast<void*>(block);
    args.Value = size;
    return decoder.Set(u"IDTags", &args);
}

void XCodecTagDecoder::Unload() { decoder.Unload(); }

bool XWriteIDTags(XTagWriterDecoder& decoder, const XTagWriterContext& context, const XString& path,
                  const XString& tagFileName, const void* block, uint32_t size) {
    if (block == nullptr || size == 0) return true;
    const XString& name = tagFileName.IsEmpty() ? path : tagFileName;
    if (XTagNameEqual(XPath(name).Extension(), u".iGnore")) return true;

    auto sleep = [&](uint32_t ms) { context.sleep ? context.sleep(ms) : XSleep(ms); };
    auto debug = [&](const char16_t* mark) {
        if (context.debugWrite) {
            context.debugWrite(mark, context.logs, kFunction);
        } else {
            XDebugWrite(mark, context.logs, kFunction);
        }
    };
    auto print = [&](const char16_t* text, bool endLine) {
        if (!context.silent && context.print) context.print(text, endLine);
    };

    debug(u"->->");
    print(u"Writing ID Tags: ", false);

    // A failing attempt is expected now and then; its messages stay out of the error pipe.
    PluginLogHandles logs = context.logs;
    logs.ErrorLog = 0;
    if (decoder.Load(name, logs)) {
        if (XSysGetFileAttributes(path) != XAttr::Invalid) {
            for (int tries = 1;; ++tries) {
                bool opened = context.canOpen ? context.canOpen(path) : DefaultCanOpen(path);
                // After the last try the writer goes on: the plug-in may still manage.
                if (opened || tries >= kOpenTries) break;
                sleep(kOpenPauseMs);
            }
        }
        for (int tries = 1;; ++tries) {
            if (decoder.SetIDTags(path, block, size) != 0) break;
            if (tries >= kWriteTries) {
                decoder.Unload();
                return false;
            }
            sleep(kWritePauseMs);
        }
    }

    print(u"Done", true);
    debug(u"<-<-");
    decoder.Unload();
    return true;
}
