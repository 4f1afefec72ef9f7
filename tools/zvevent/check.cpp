// zvevent check: what the library makes of a configuration file, and what is doubtful about it.
#include <algorithm>
#include <array>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "config/config_audit.h"
#include "config_findings.h"
#include "printable.h"
#include "subcommand.h"

namespace zvevent::tool {

namespace {

using Json = nlohmann::ordered_json;

struct Options {
    std::string path;
    bool json = false;
    bool quiet = false;
};

std::string_view OriginName(ValueOrigin origin) {
    switch (origin) {
        case ValueOrigin::kFile:
            return "file";
        case ValueOrigin::kDefault:
            return "default";
        case ValueOrigin::kReplaced:
            return "replaced";
        case ValueOrigin::kRefused:
            return "refused";
        case ValueOrigin::kCut:
            return "cut";
    }
    return "";
}

// --- A table for people --------------------------------------------------------------------------

// As it can stand in a column.
std::string Cell(const AuditedSetting& setting, const std::string& text) {
    constexpr std::size_t kWidest = 48;
    if (IsSecret(setting, text)) return "(secret)";
    if (text.empty()) return "(empty)";
    const std::string shown = Printable(text);
    return shown.size() <= kWidest ? shown : Printable(text.substr(0, kWidest - 3)) + "...";
}

using Row = std::array<std::string, 3>;  // name, in the file, in force

Row RowOf(const AuditedSetting& setting) {
    return {setting.name, setting.text ? Cell(setting, *setting.text) : "-",
            Cell(setting, setting.value)};
}

void PrintSettings(const std::vector<AuditedSetting>& settings, const Painter& paint) {
    Row heading = {"", "in the file", "in force"};
    std::array<std::size_t, heading.size()> widths{};
    const auto widen = [&widths](const Row& row) {
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    };
    const auto print = [&widths](const Row& row, std::string_view origin) {
        std::string line = "  ";
        for (std::size_t i = 0; i < row.size(); ++i)
            line.append(row[i]).append(widths[i] + 2 - row[i].size(), ' ');
        std::cout << line << origin << '\n';
    };
    widen(heading);
    for (const AuditedSetting& setting : settings)
        widen(RowOf(setting));
    print(heading, "from");
    std::string_view key;
    for (const AuditedSetting& setting : settings) {
        if (setting.key != key) std::cout << paint(Colour::kBold, Printable(setting.key)) << '\n';
        key = setting.key;
        print(RowOf(setting), OriginName(setting.origin));
    }
    std::cout << '\n';
}

void PrintFindings(const std::string& path, const std::vector<Finding>& findings,
                   const Painter& paint) {
    for (const Finding& finding : findings) {
        std::cout << Printable(path) << ": "
                  << (finding.is_error ? paint(Colour::kRed, "error: ")
                                       : paint(Colour::kYellow, "warning: "));
        if (!finding.where.empty()) std::cout << Printable(finding.where) << ": ";
        std::cout << Printable(finding.what) << '\n';
    }
}

// --- One object for programs ---------------------------------------------------------------------

Json SettingAsJson(const AuditedSetting& setting) {
    const auto shown = [&setting](const std::string& text) {
        return IsSecret(setting, text) ? Json("(secret)") : Json(text);
    };
    return {{"key", setting.key},
            {"name", setting.name},
            {"kind", setting.kind},
            {"file", setting.text ? shown(*setting.text) : Json()},
            {"in_force", shown(setting.value)},
            {"from", OriginName(setting.origin)}};
}

void PrintJson(const Options& options, const ConfigAudit& audit,
               const std::vector<Finding>& findings) {
    Json object = {
        {"file", options.path}, {"settings", Json::array()}, {"findings", Json::array()}};
    for (const AuditedSetting& setting : audit.settings)
        object["settings"].push_back(SettingAsJson(setting));
    for (const Finding& finding : findings)
        object["findings"].push_back({{"level", finding.is_error ? "error" : "warning"},
                                      {"where", finding.where},
                                      {"what", finding.what}});
    std::cout << object.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

int Check(const Options& options) {
    const ConfigAudit audit = AuditConfig(options.path);
    const std::vector<Finding> findings = FindDoubts(options.path, audit);
    if (options.json) {
        PrintJson(options, audit, findings);
    } else {
        const Painter paint = Painter::ForOutput();
        if (!options.quiet && audit.opened) PrintSettings(audit.settings, paint);
        PrintFindings(options.path, findings, paint);
        if (!options.quiet && findings.empty()) std::cout << "nothing doubtful\n";
    }
    return findings.empty() ? kExitGood : kExitBad;
}

}  // namespace

Subcommand::Run ConfigureCheck(CLI::App& command) {
    const auto options = std::make_shared<Options>();
    command.add_option("file", options->path, "configuration file, as the library reads it")
        ->type_name("FILE")
        ->required();
    command.add_flag("--json", options->json, "one JSON object instead of a table");
    command.add_flag("--quiet", options->quiet, "findings only, no settings");
    command.footer(
        R"(Nothing is written and no output is opened. An error keeps the library from starting; a
warning is something that is probably not what was meant. The exit code is 0 when there is
neither, 1 when there is one, 2 for a wrong command line. Secrets are not shown.

Examples:
  zvevent check events.xml
  zvevent check --quiet events.xml && systemctl restart my-service)");
    return [options] { return Check(*options); };
}

}  // namespace zvevent::tool
