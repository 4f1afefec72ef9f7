#include "config_findings.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <numeric>
#include <utility>

#include "base/syslog_code.h"
#include "config/config_keys.h"
#include "config/config_loader.h"
#include "config/setting_reference.h"
#include "config/sink_faults.h"
#include "config/unknown_keys.h"
#include "config_file.h"
#include "format/ber.h"
#include "zvutil/zvutil.h"

namespace zvevent::tool {

namespace {

constexpr std::uint32_t kLastPort = 65535;

std::string Quoted(std::string_view text) {
    return std::string("\"").append(text).append("\"");
}

// How many letters must be put in, taken out or exchanged to get from one name to the other.
std::size_t Distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t exchanged = diagonal + (from[i] != to[j] ? 1 : 0);
            diagonal = row[j + 1];
            row[j + 1] = std::min({exchanged, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

// Of the names that have a meaning there; empty when none is near enough to be meant.
std::string NearestName(const std::string& unknown_path) {
    const std::string name = unknown_path.substr(unknown_path.rfind('\\') + 1);
    std::string nearest;
    std::size_t least = name.size() / 3 + 2;  // one more than is near enough
    for (const std::string& known : KnownNamesBeside(unknown_path)) {
        const std::size_t distance = Distance(name, known);
        if (distance >= least) continue;
        least = distance;
        nearest = known;
    }
    return nearest;
}

std::string KeyOf(const zvEventSinkConfig& sink) {
    std::string key;
    for (const SinkSection& section : kSinkSections) {
        if (section.kind == sink.kind) key = SinkKey(section) + '\\' + sink.name;
    }
    return key;
}

class Search {
public:
    Search(const std::string& path, const ConfigAudit& audit) : path_(path), audit_(audit) {}

    std::vector<Finding> Run() {
        if (!audit_.opened) {
            FindFault();
            return std::move(found_);
        }
        for (const AuditedSetting& setting : audit_.settings)
            LookAt(setting);
        for (const zvEventSinkConfig& sink : audit_.config.sinks) {
            if (sink.enabled) LookAt(sink);
        }
        for (const std::string& unknown : audit_.unknown_keys) {
            const std::string nearest = NearestName(unknown);
            Warn(unknown, "nothing reads this" +
                              (nearest.empty() ? "" : "; did you mean " + Quoted(nearest) + "?"));
        }
        for (const std::string& repeated : audit_.repeated_keys)
            Warn(repeated, "stands there more than once; only the first is read");
        if (!audit_.has_keys) Warn(std::string(kRootKey), "not in the file: all is default");
        LookAtSecrets();
        return std::move(found_);
    }

private:
    void Warn(std::string where, std::string what) {
        found_.push_back({false, std::move(where), std::move(what)});
    }
    void Fail(std::string where, std::string what) {
        found_.push_back({true, std::move(where), std::move(what)});
    }

    void FindFault() {
        std::array<char, 256> reason{};
        std::uint32_t line = 0;
        std::uint32_t column = 0;
        if (zvCFGFindFault(path_.c_str(), reason.data(), reason.size(), &line, &column) != 0)
            return Fail("", audit_.error);
        Fail(line != 0 ? "line " + std::to_string(line) + ", column " + std::to_string(column) : "",
             reason.data());
    }

    void LookAt(const AuditedSetting& setting) {
        const std::string where = setting.key + '\\' + setting.name;
        const std::string text = Quoted(setting.text.value_or(""));
        const std::string no_such = text + " is no " + std::string(setting.kind);
        if (setting.origin == ValueOrigin::kReplaced)
            Warn(where, no_such + "; the library puts " + setting.value + " in its place");
        if (setting.origin == ValueOrigin::kRefused) Fail(where, no_such);
        if (setting.origin == ValueOrigin::kCut)
            Warn(where, "longer than 2047 bytes; the rest is not read");
        if (setting.section == kCoreKey && setting.name == "queue_size" && setting.value == "0")
            Fail(where, kQueueSizeIsZero);
    }

    void LookAt(const zvEventSinkConfig& sink) {
        const std::string key = KeyOf(sink);
        if (const char* const fault = SinkFault(sink)) Fail(key, fault);
        if (sink.kind == zvEventSinkKind::syslog_udp) {
            LookAtFacility(key, sink.syslog_udp.facility);
            LookAtPort(key, sink.syslog_udp.port);
        }
        if (sink.kind == zvEventSinkKind::native) LookAtFacility(key, sink.native.facility);
        if (sink.kind == zvEventSinkKind::snmp_trap) {
            LookAtPort(key, sink.snmp_trap.port);
            LookAtIdentifier(key + "\\enterprise_oid", sink.snmp_trap.enterprise_oid);
            LookAtIdentifier(key + "\\trap_oid", sink.snmp_trap.trap_oid);
        }
    }

    void LookAtFacility(const std::string& key, const std::string& facility) {
        const bool known =
            std::any_of(kSyslogFacilities.begin(), kSyslogFacilities.end(),
                        [&](const auto& name) { return EqualsLowerAscii(facility, name.name); });
        if (!known && !facility.empty())
            Warn(key + "\\facility", Quoted(facility) + " is no facility; local0 is taken");
    }

    void LookAtPort(const std::string& key, std::uint32_t port) {
        if (port > kLastPort) Fail(key + "\\port", std::to_string(port) + " is no UDP port");
    }

    void LookAtIdentifier(const std::string& where, const std::string& identifier) {
        std::string ignored;
        if (!identifier.empty() && !AppendBerObjectIdentifier(ignored, identifier))
            Warn(where, Quoted(identifier) + " is no object identifier; no trap can be sent");
    }

    void LookAtSecrets() {
        std::string secrets;
        for (const AuditedSetting& setting : audit_.settings) {
            if (IsSecret(setting, setting.value))
                secrets += (secrets.empty() ? "" : ", ") + setting.key + '\\' + setting.name;
        }
        if (!secrets.empty() && EveryoneMayRead(path_))
            Warn("", "every user may read this file with its secrets (" + secrets + ")");
    }

    const std::string& path_;
    const ConfigAudit& audit_;
    std::vector<Finding> found_;
};

}  // namespace

std::vector<Finding> FindDoubts(const std::string& path, const ConfigAudit& audit) {
    return Search(path, audit).Run();
}

bool IsSecret(const AuditedSetting& setting, std::string_view text) {
    return ReferenceOf(setting.section, setting.name).secret && !text.empty() &&
           text != zvEventSinkConfig::SnmpTrap::kDefaultCommunity;
}

}  // namespace zvevent::tool
