// Lines of the tvimage tool.
#include "image/image_report.h"

#include <exception>

#include "image/image_info.h"

namespace {

const char* orEmpty(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

std::string imageReportLine(const std::string& name, const imageHeaderInfo& info) {
    std::string line = name;
    line += '\t';
    line += orEmpty(info.formatName);
    line += '\t';
    line += std::to_string(info.width);
    line += '\t';
    line += std::to_string(info.height);
    line += '\t';
    line += std::to_string(info.bitsPerPixel);
    line += '\t';
    line += info.hasAlpha ? '1' : '0';
    line += '\t';
    line += orEmpty(info.extension);
    line += '\t';
    line += orEmpty(info.mimeType);
    line += '\n';
    return line;
}

std::string imageReportFailure(const std::string& name, const std::string& message) {
    return name + "\t!\t" + message + "\n";
}

std::string imageReportFor(const std::string& pathOrUrl, bool& identified) {
    identified = false;
    try {
        const imageHeaderInfo info = identifyImageUrl(pathOrUrl);
        identified = true;
        return imageReportLine(pathOrUrl, info);
    } catch (const std::exception& e) {
        return imageReportFailure(pathOrUrl, e.what());
    } catch (...) {
        // Nothing but std::exception should arrive; still one line per file, whatever comes.
        return imageReportFailure(pathOrUrl, "unknown error");
    }
}
