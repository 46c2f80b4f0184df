#include "cli/options.h"

#include <cctype>
#include <charconv>
#include <filesystem>
#include <vector>

#include "cli/errors.h"

#ifndef FK_DATA_DIR
#define FK_DATA_DIR "data"
#endif

namespace fk::cli {

namespace {

std::string lower(std::string_view s) {
    std::string r(s);
    for (char& c : r) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return r;
}

bool wholeNumber(std::string_view s, int64_t& v) {
    int base = 10;
    if (s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X')) {
        s.remove_prefix(2);
        base = 16;
    }
    const auto r = std::from_chars(s.data(), s.data() + s.size(), v, base);
    return !s.empty() && r.ec == std::errc() && r.ptr == s.data() + s.size();
}

} // namespace

int32_t parsePeriod(std::string_view text) {
    const std::string s = lower(text);
    if (s == "daily") return 0x11000001;
    if (s == "weekly") return 0x12000001;
    if (s == "monthly") return 0x13000001;
    if (s == "quarterly") return 0x14000001;
    if (s == "yearly") return 0x15000001;
    int64_t v = 0;
    if (s.size() > 3 && s.ends_with("min") && wholeNumber(std::string_view(s).substr(0, s.size() - 3), v) && v >= 1 &&
        v < (1 << 24))
        return 0x03000000 | static_cast<int32_t>(v);
    if (wholeNumber(s, v) && v > 0 && v <= 0xFFFFFFFFll) return static_cast<int32_t>(static_cast<uint32_t>(v));
    throw UsageError("--period " + std::string(text) +
                     ": not a period (daily, weekly, monthly, quarterly, yearly, Nmin such as 5min, or a period word such as 0x03000005)");
}

int parseClockMinutes(std::string_view s) {
    std::string digits;
    if (s.size() == 5 && s[2] == ':') digits = std::string(s.substr(0, 2)) + std::string(s.substr(3));
    else if (s.size() == 4) digits = std::string(s);
    else return -1;
    for (char c : digits)
        if (c < '0' || c > '9') return -1;
    const int h = (digits[0] - '0') * 10 + (digits[1] - '0');
    const int m = (digits[2] - '0') * 10 + (digits[3] - '0');
    if (m > 59 || h > 24 || (h == 24 && m > 0)) return -1;
    return h * 60 + m;
}

void parseSession(std::string_view s, int& start, int& end) {
    const std::size_t dash = s.find('-');
    if (dash != std::string_view::npos) {
        start = parseClockMinutes(s.substr(0, dash));
        end = parseClockMinutes(s.substr(dash + 1));
        if (start >= 0 && end >= 0) return;
    }
    throw UsageError("--session " + std::string(s) + ": not a session (HHMM-HHMM, such as 0930-1600)");
}

std::string samplePath(std::string_view name) {
    namespace fs = std::filesystem;
    const std::string n = lower(name);
    std::string file;
    if (n == "daily") file = "daily.csv";
    else if (n == "intraday") file = "intraday-5min.csv";
    else throw UsageError("--sample " + std::string(name) + ": the samples are daily and intraday");
    std::error_code ec;
    const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    std::vector<fs::path> places;
    if (!ec) places = {exe.parent_path() / "data", exe.parent_path()};
    places.push_back(FK_DATA_DIR);
    for (const fs::path& p : places)
        if (fs::is_regular_file(p / file, ec)) return (p / file).string();
    throw UsageError("the " + n + " sample (" + file + ") is neither in data/ next to the executable nor in " FK_DATA_DIR);
}

} // namespace fk::cli
