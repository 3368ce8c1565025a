# SPDX-License-Identifier: Apache-2.0

# Writes a source that holds files as bytes: cmake -DFILES="A;B" -DOUTPUT=SOURCE -P embed.cmake
set(_bytes "")
set(_table "")
foreach(_file IN LISTS FILES)
  get_filename_component(_name "${_file}" NAME)
  string(MAKE_C_IDENTIFIER "${_name}" _identifier)
  file(READ "${_file}" _content HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," _content "${_content}")
  string(APPEND _bytes "constexpr char ${_identifier}[] = {${_content}'\\0'};\n")
  string(APPEND _table "    {\"${_name}\", {${_identifier}, sizeof(${_identifier}) - 1}},\n")
endforeach()
file(
  WRITE "${OUTPUT}"
  "#include \"tools/serve/PageFile.h\"

namespace database_provider::recordctl {

namespace {

${_bytes}
constexpr PageFile files[] = {
${_table}};

}  // namespace

const PageFile* findPageFile(std::string_view name) {
  for (const PageFile& file : files) {
    if (file.name == name) return &file;
  }
  return nullptr;
}

}  // namespace database_provider::recordctl
")
