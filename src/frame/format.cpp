#include "frame/format.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "containers/text.h"

namespace fk {

namespace {

constexpr char kOpen = '\xFE';
constexpr char kClose = '\xFF';
constexpr int kNoWidth = 127;
constexpr std::size_t kMaxOutput = 1000000;

// Rewrites every "%...F" into "\xFE<width>%...f\xFF" (".9f" when no precision was given)
// and reports whether any was found.
bool rewriteF(const char* format, std::string& out) {
    bool found = false;
    const std::size_t n = std::strlen(format);
    out.clear();
    out.reserve(n + 16);
    std::size_t i = 0;
    while (i < n) {
        const char c = format[i];
        if (c != '%') {
            out += c;
            ++i;
            continue;
        }
        if (i + 1 < n && format[i + 1] == '%') {
            out += "%%";
            i += 2;
            continue;
        }
        // walk the conversion
        std::size_t j = i + 1;
        bool dot = false;
        std::size_t digitsAt = std::string::npos;
        while (j < n) {
            const char d = format[j];
            if (d == '.') {
                dot = true;
            } else if (d >= '0' && d <= '9') {
                if (!dot && digitsAt == std::string::npos) digitsAt = j;
            } else if (d != 'h' && d != 'I' && d != 'l' && d != 'L') {
                break;
            }
            ++j;
        }
        if (j < n && format[j] == 'F') {
            int width = 0;
            if (digitsAt != std::string::npos)
                for (std::size_t k = digitsAt; k < j && format[k] >= '0' && format[k] <= '9'; ++k)
                    width = width > 1000 ? width : width * 10 + (format[k] - '0');
            if (width < 1 || width > kNoWidth) width = kNoWidth;
            out += kOpen;
            out += static_cast<char>(width);
            out.append(format + i, j - i);
            out += dot ? "f" : ".9f";
            out += kClose;
            found = true;
            i = j + 1;
        } else {
            const std::size_t end = j < n ? j + 1 : j;
            out.append(format + i, end - i);
            i = end;
        }
    }
    return found;
}

// Removes the markers, trims trailing zeros after a decimal point and pads to the width.
std::string finishPieces(const char* s, std::size_t len) {
    std::string out;
    out.reserve(len);
    std::size_t i = 0;
    while (i < len) {
        if (s[i] != kOpen || i + 1 >= len) {
            out += s[i++];
            continue;
        }
        const int width = static_cast<unsigned char>(s[i + 1]);
        std::size_t end = i + 2;
        while (end < len && s[end] != kClose) ++end;
        std::string number(s + i + 2, end - (i + 2));
        if (number.find('.') != std::string::npos) {
            while (!number.empty() && number.back() == '0') number.pop_back();
            if (!number.empty() && number.back() == '.') number.pop_back();
        }
        if (width < kNoWidth && static_cast<int>(number.size()) < width)
            number.insert(0, static_cast<std::size_t>(width) - number.size(), ' ');
        out += number;
        i = end < len ? end + 1 : end;
    }
    return out;
}

} // namespace

void formatText(TextHandle& target, va_list args, int sizeHint, const char* format, bool append) {
    if (!format) format = "";
    std::string work;
    const bool pieces = rewriteF(format, work);
    std::size_t size = sizeHint > 0 ? static_cast<std::size_t>(sizeHint) : 250;
    std::string scratch;
    bool printed = false;
    int written = 0;
    while (size < kMaxOutput) {
        scratch.assign(size, '\0');
        va_list copy;
        va_copy(copy, args);
        written = std::vsnprintf(scratch.data(), size, work.c_str(), copy);
        va_end(copy);
        if (written < 0) break;
        if (static_cast<std::size_t>(written) < size) {
            printed = true;
            break;
        }
        size *= 2;
    }
    if (!append) text::assignString(target, "");
    if (!printed) return;
    if (pieces) {
        const std::string done = finishPieces(scratch.data(), static_cast<std::size_t>(written));
        text::appendBytes(target, done.data(), static_cast<int32_t>(done.size()));
    } else {
        text::appendBytes(target, scratch.data(), written);
    }
}

TextHandle& writeError(TextHandle& target, const char* format, ...) {
    if (!target.buffer || !buffers::mayWrite(target, -1)) return target;
    va_list args;
    va_start(args, format);
    formatText(target, args, 0, format, false);
    va_end(args);
    return target;
}

TextHandle& appendError(TextHandle& target, const char* format, ...) {
    if (!target.buffer || !buffers::mayWrite(target, -1)) return target;
    va_list args;
    va_start(args, format);
    formatText(target, args, 0, format, true);
    va_end(args);
    return target;
}

} // namespace fk
