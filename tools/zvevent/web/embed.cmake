# Writes a C++ source with files as byte arrays, by their names:
#     cmake -D OUTPUT=web_files.cpp -D "FILES=page.html|page.js" -P embed.cmake
string(REPLACE "|" ";" FILES "${FILES}")
set(arrays "")
set(table "")
set(number 0)
foreach(file IN LISTS FILES)
  file(READ "${file}" bytes HEX)
  string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${bytes}")
  get_filename_component(name "${file}" NAME)
  string(APPEND arrays "constexpr char kFile${number}[] = {\n${bytes}};\n")
  string(APPEND table "    {\"${name}\", {kFile${number}, sizeof kFile${number}}},\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE "${OUTPUT}" "#include \"live/web_files.h\"

namespace zvevent::tool {

namespace {

${arrays}
constexpr WebFile kFiles[] = {
${table}};

}  // namespace

std::span<const WebFile> WebFiles() { return kFiles; }

}  // namespace zvevent::tool
")
