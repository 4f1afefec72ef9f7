#include "records.h"

#include <cstdlib>
#include <list>
#include <map>
#include <string>

namespace {

template <typename Type>
using Fields = std::map<std::string, Type zvEventRecord::*>;

using Record = zvEventRecord;
const Fields<const char*> kTexts = {{"event_type", &Record::event_type},
                                    {"source_id", &Record::source_id},
                                    {"source_name", &Record::source_name},
                                    {"message", &Record::message},
                                    {"action", &Record::action},
                                    {"dedupe_key", &Record::dedupe_key},
                                    {"timecode", &Record::timecode},
                                    {"correlation_id", &Record::correlation_id},
                                    {"units", &Record::units},
                                    {"details_json", &Record::details_json}};
const Fields<std::uint64_t> kNumbers = {{"event_id", &Record::event_id},
                                        {"utc_ns", &Record::utc_ns},
                                        {"ptp_ns", &Record::ptp_ns},
                                        {"duration_ms", &Record::duration_ms}};
const Fields<double> kReals = {{"value", &Record::value}, {"threshold", &Record::threshold}};

std::string Decoded(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%') {
            bytes += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else if (text[i] != '\r') {
            bytes += text[i];
        }
    }
    return bytes;
}

}  // namespace

bool ForEachRecord(std::istream& text, const std::function<bool(const zvEventRecord&)>& handle) {
    bool good = true;
    zvEventRecord record = zvEventRecordInit();
    std::list<std::string> values;
    for (std::string line; std::getline(text, line);) {
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos) {
            good = handle(record) && good;
            record = zvEventRecordInit();
            continue;
        }
        const std::string name = line.substr(0, equals);
        const char* const value = values.emplace_back(Decoded(line.substr(equals + 1))).c_str();
        if (kTexts.contains(name)) record.*kTexts.at(name) = value;
        if (kReals.contains(name)) record.*kReals.at(name) = std::strtod(value, nullptr);
        if (kNumbers.contains(name)) record.*kNumbers.at(name) = std::strtoull(value, nullptr, 10);
        if (name == "pts") record.pts = std::strtoll(value, nullptr, 10);
        if (name == "severity") record.severity = static_cast<std::uint32_t>(std::atoi(value));
    }
    return good;
}
