// Holds a JSON text against a schema of docs/schema/, by a validator that isn't the system's own.

#pragma once

#include <string>

#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempFolder.h"

namespace halvo::test {

// Exit status 0 where the text fits; standard error tells where it doesn't.
inline RunResult jsonAgainstSchema(const std::string& json, const std::string& schema) {
  const TempFolder folder;
  writeFile(folder.file("text.json"), json);
  return runProgram({"/usr/bin/python3", "-c",
                     "import json, sys, jsonschema\n"
                     "schema = json.load(open(sys.argv[1]))\n"
                     "jsonschema.Draft7Validator.check_schema(schema)\n"
                     "jsonschema.validate(json.load(open(sys.argv[2], encoding='utf-8')), schema,"
                     " cls=jsonschema.Draft7Validator)",
                     sourcePath("docs/schema/" + schema), folder.file("text.json")});
}

}  // namespace halvo::test
