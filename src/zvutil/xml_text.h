// Characters of XML text, as they stand in a file and as they are meant. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace zvevent {

enum class XmlPlace { kText, kCdata, kAttribute };

// Appends what the raw text of a file stands for: references resolved, line ends as LF, and in
// attributes as blanks. An unknown reference is taken as it stands.
void AppendDecoded(std::string_view raw, XmlPlace place, std::string& out);

// Appends raw text that is decoded to `plain` again; its line ends are written as `line_end`.
void AppendEncoded(std::string_view plain, XmlPlace place, std::string_view line_end,
                   std::string& out);

}  // namespace zvevent
