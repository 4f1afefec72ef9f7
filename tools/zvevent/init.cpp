// zvevent init: a configuration file with every setting in it and what it is for.
#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "config/config_audit.h"
#include "config/setting_reference.h"
#include "config_file.h"
#include "subcommand.h"
#include "zvutil/zvutil.h"

namespace zvevent::tool {

namespace {

constexpr std::size_t kLineLength = 100;

constexpr std::string_view kHeading =
    R"(<!-- Configuration of zvEvent. Every setting is here with its default; one without a default
     stands in a comment. 'zvevent check' tells what the library makes of the file.

     text      at most 2047 bytes, taken as they stand
     number    digits alone, 0 to 4294967295
     boolean   1 or 0, true or false, yes or no, on or off, enabled or disabled
     severity  debug, info, warning or error, or 0 to 3
     policy    drop_newest or drop_debug_info_first

     There may be any number of keys for each kind of output, named as you like. -->
<zvCFG>
)";

std::vector<std::string> Parts(std::string_view key) {
    std::vector<std::string> parts;
    while (!key.empty()) {
        parts.emplace_back(key.substr(0, key.find('\\')));
        key.remove_prefix(std::min(parts.back().size() + 1, key.size()));
    }
    return parts;
}

// Markdown as plain text: no code marks, and of a link its text.
std::string Plain(std::string_view markdown) {
    std::string plain;
    while (!markdown.empty()) {
        const std::size_t length = std::min(markdown.find_first_of("`[]"), markdown.size());
        plain += markdown.substr(0, length);
        const bool is_target = markdown.substr(length).starts_with("](");
        const std::size_t end = is_target ? markdown.find(')', length) : length;
        markdown.remove_prefix(std::min(end, markdown.size() - 1) + 1);
    }
    return plain;
}

// Takes settings in the order of a completed file.
class CommentedFile {
public:
    void Add(const AuditedSetting& setting) {
        MoveTo(Parts(setting.key), SectionSummary(setting.section));
        Comment("(" + std::string(setting.kind) + ") " +
                Plain(ReferenceOf(setting.section, setting.name).effect));
        const std::string value =
            "<value name=\"" + setting.name + "\">" + setting.value + "</value>";
        Line(setting.value.empty() ? "<!-- " + value + " -->" : value);
    }

    std::string Finish() {
        MoveTo({}, {});
        return text_ + "</zvCFG>\n";
    }

private:
    // Closes and opens keys until the one at `path` is open; `summary` goes before it.
    void MoveTo(const std::vector<std::string>& path, std::string_view summary) {
        const auto common = std::mismatch(open_.begin(), open_.end(), path.begin(), path.end());
        const auto depth = static_cast<std::size_t>(common.first - open_.begin());
        while (open_.size() > depth) {
            open_.pop_back();
            Line("</key>");
        }
        while (open_.size() < path.size()) {
            if (open_.size() + 1 == path.size()) Comment(summary);
            Line("<key name=\"" + path[open_.size()] + "\">");
            open_.push_back(path[open_.size()]);
        }
    }

    std::size_t Indent() const { return 2 * (open_.size() + 1); }

    void Line(std::string_view line) { text_.append(Indent(), ' ').append(line) += '\n'; }

    // Broken between words where the line would become too long.
    void Comment(std::string_view words) {
        const std::size_t room = kLineLength - Indent() - std::string_view("<!--  -->").size();
        std::string_view opening = "<!-- ";
        while (words.size() > room) {
            const std::size_t end = words.rfind(' ', room);
            Line(std::string(opening).append(words.substr(0, end)));
            words.remove_prefix(end + 1);
            opening = "     ";
        }
        Line(std::string(opening).append(words).append(" -->"));
    }

    std::string text_{kHeading};
    std::vector<std::string> open_;  // the names of the open keys
};

int Init(const std::string& path) {
    const auto fail = [&path](std::string_view why) {
        std::cerr << "zvevent: " << path << ": " << why << '\n';
        return kExitBad;
    };
    if (const std::string reason = CreateEmptyFile(path); !reason.empty()) return fail(reason);
    CommentedFile file;
    for (const AuditedSetting& setting : AuditConfig(path).settings)
        file.Add(setting);
    const std::string text = file.Finish();
    if (zvOSFileReplace(path.c_str(), text.data(), text.size()) != 0)
        return fail("cannot be written");
    return kExitGood;
}

}  // namespace

Subcommand::Run ConfigureInit(CLI::App& command) {
    const auto path = std::make_shared<std::string>();
    command.add_option("file", *path, "what to write; must not exist")
        ->type_name("FILE")
        ->required();
    command.footer(
        R"(The library leaves the file as it is. Of the outputs only the one to the system's own log is
enabled.

Example:
  zvevent init events.xml)");
    return [path] { return Init(*path); };
}

}  // namespace zvevent::tool
