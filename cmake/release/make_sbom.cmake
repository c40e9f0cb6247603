# Writes the bill of materials, SPDX 2.3 in JSON: the library and the programs by their check sums, and what they rest on.
# TABLE, VERSION, PARTS (a file with a line for each: part|name|file), OUT. The time is SOURCE_DATE_EPOCH where that is set.
cmake_minimum_required(VERSION 3.25)

set(packages "")
set(relationships "")

function(add_package id name version licence url)
  cmake_parse_arguments(PARSE_ARGV 5 arg "" "FILE" "")
  set(checksum "")
  if(arg_FILE)
    file(SHA256 "${arg_FILE}" sum)
    set(checksum ",\n      \"checksums\": [{\"algorithm\": \"SHA256\", \"checksumValue\": \"${sum}\"}]")
  endif()
  string(APPEND packages "    {\n      \"SPDXID\": \"SPDXRef-${id}\",\n      \"name\": \"${name}\",\n"
    "      \"versionInfo\": \"${version}\",\n      \"downloadLocation\": \"${url}\",\n      \"filesAnalyzed\": false,\n"
    "      \"licenseConcluded\": \"${licence}\",\n      \"licenseDeclared\": \"${licence}\",\n"
    "      \"copyrightText\": \"NOASSERTION\"${checksum}\n    },\n")
  set(packages "${packages}" PARENT_SCOPE)
endfunction()

function(add_relationship from type to)
  string(APPEND relationships "    {\"spdxElementId\": \"SPDXRef-${from}\", \"relationshipType\": \"${type}\", "
    "\"relatedSpdxElement\": \"SPDXRef-${to}\"},\n")
  set(relationships "${relationships}" PARENT_SCOPE)
endfunction()

file(STRINGS "${PARTS}" parts)
foreach(line IN LISTS parts)
  if(NOT line MATCHES "^([^|]*)\\|([^|]*)\\|(.*)$")
    message(FATAL_ERROR "No part: ${line}")
  endif()
  set(part "${CMAKE_MATCH_1}")
  set(name_of_${part} "${CMAKE_MATCH_2}")
  add_package("${name_of_${part}}" "${name_of_${part}}" ${VERSION} MIT NOASSERTION FILE "${CMAKE_MATCH_3}")
  add_relationship(DOCUMENT DESCRIBES ${name_of_${part}})
  if(NOT part STREQUAL "library")
    add_relationship(${name_of_${part}} DEPENDS_ON ${name_of_library})
  endif()
endforeach()
file(STRINGS "${TABLE}" rows)
foreach(row IN LISTS rows)
  if(NOT row MATCHES "^([^|]*)\\|([^|]*)\\|([^|]*)\\|([^|]*)\\|([^|]*)\\|")
    message(FATAL_ERROR "No row of dependencies: ${row}")
  endif()
  set(name "${CMAKE_MATCH_1}")
  set(version "${CMAKE_MATCH_2}")
  set(licence "${CMAKE_MATCH_3}")
  set(url "${CMAKE_MATCH_4}")
  set(used_by "${CMAKE_MATCH_5}")
  string(REGEX REPLACE "[^A-Za-z0-9.-]" "-" id "${name}")   # what an identifier may be made of
  add_package(${id} ${name} ${version} "${licence}" ${url})
  string(REPLACE " " ";" used_by "${used_by}")
  foreach(part IN LISTS used_by)
    if(DEFINED name_of_${part})
      add_relationship(${name_of_${part}} DEPENDS_ON ${id})
    endif()
  endforeach()
endforeach()
string(REGEX REPLACE ",\n$" "\n" packages "${packages}")
string(REGEX REPLACE ",\n$" "\n" relationships "${relationships}")

string(TIMESTAMP created "%Y-%m-%dT%H:%M:%SZ" UTC)
string(SHA1 content "${packages}${relationships}")   # another content is another document
file(WRITE "${OUT}" "{
  \"spdxVersion\": \"SPDX-2.3\",
  \"dataLicense\": \"CC0-1.0\",
  \"SPDXID\": \"SPDXRef-DOCUMENT\",
  \"name\": \"lintrix-${VERSION}\",
  \"documentNamespace\": \"https://lintrix.invalid/spdx/lintrix-${VERSION}-${content}\",
  \"creationInfo\": {
    \"created\": \"${created}\",
    \"creators\": [\"Organization: The Lintrix developers\", \"Tool: CMake-${CMAKE_VERSION}\"]
  },
  \"packages\": [
${packages}  ],
  \"relationships\": [
${relationships}  ]
}
")
