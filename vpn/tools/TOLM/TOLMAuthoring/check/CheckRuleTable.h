// The rules of `tmtolm check`. A rule is one row here and nothing else: the checks name it by its name, and
// docs/check-rules.md shows these rows as they stand, section by section, which a test sees to.
//
// Constants; usable at compile time.

#pragma once

#include <array>

namespace halvo {

enum class CheckLevel {
  kWarning,  // a run does it, maybe otherwise than meant
  kError,    // a run doesn't do what the document says
};

struct CheckRuleRow {
  // Stable: scripts and editors rely on it.
  const char* name;
  CheckLevel level;
  // What the rule means, for the documentation: one line of Markdown.
  const char* meaning;
};

struct CheckRuleSection {
  const char* title;
  // The name of the section's first rule; it reaches to the next section's.
  const char* firstRule;
};

inline constexpr CheckLevel kCheckError = CheckLevel::kError;
inline constexpr CheckLevel kCheckWarning = CheckLevel::kWarning;

// clang-format off
inline constexpr auto kCheckRules = std::to_array<CheckRuleRow>({
    // Files and folders
    {"unreadable", kCheckError, "The file or folder can't be read."},
    {"too-large", kCheckError,
     "More than 8 MiB, 100,000 elements, 16 MiB of text or 5,000 attributes of an element: not checked "
     "further."},
    {"not-well-formed", kCheckError,
     "A run uses nothing of the document and lists it as failed in the summary. Elements nested deeper "
     "than 256 count as well."},
    {"parser-complaint", kCheckWarning,
     "The parser complains and goes on, such as about an entity that nobody declares."},
    {"file-name", kCheckError,
     "The file is meant as a document, but a folder load skips its name: `a.XML`, `a.xml.xml`."},
    {"skipped-name", kCheckWarning, "A folder load skips the name, such as `a.xml.bak`."},
    {"folder-as-document", kCheckError, "A folder called `x.xml` is taken for a document and fails."},
    {"no-documents", kCheckError, "A folder without any document: the run ends with a failure."},
    {"request-in-folder", kCheckWarning,
     "A request among instruction documents: its items are never gathered."},
    {"too-many-findings", kCheckError, "More than 1,000 findings in one document: the rest isn't listed."},
    // Any element
    {"unknown-element", kCheckWarning, "No reader reads an element of this name here."},
    {"misplaced-element", kCheckError, "The element is known, but read in another place."},
    {"repeated-element", kCheckError,
     "Only one of several elements of the name counts: the first, or for `loc`, `args` and `temp_out` "
     "the last."},
    {"found-deep", kCheckWarning,
     "A search of the whole item finds the element deeper than where it belongs, and it counts."},
    {"ignored-text", kCheckWarning, "Text where no reader reads any."},
    {"unread-attribute", kCheckWarning, "An attribute that no reader reads."},
    {"nested-tags", kCheckError, "Elements inside a leaf of an action: the action is dropped."},
    {"text-blanks", kCheckError,
     "Blanks or line breaks around a path or a command line: they are part of it."},
    {"variable-unclosed", kCheckError,
     "A \"$\" in a path without a name and a \"/\" behind it: nothing is expanded."},
    {"variable-braces", kCheckError,
     "`${NAME}/` in a path: only `$NAME/` is expanded, and no variable has braces in its name."},
    {"variable-unset", kCheckWarning, "The variable isn't set on the machine that checks."},
    {"no-break-space", kCheckError,
     "A no-break space in a path, a command, an id or a name: it is a letter there, not a blank."},
    {"name-too-long", kCheckError, "A name of more than 255 bytes, which no file can have."},
    {"path-wildcard", kCheckError,
     "A wildcard in `temp_out` or in the `path` of a property list: it is a letter of the name there."},
    {"path-blocks", kCheckError,
     "A device, a pipe or a file such as `/proc/kmsg`: reading it waits or never ends."},
    {"secret", kCheckWarning,
     "Private keys, password files, stored connections, keyrings, browsers' profiles: they would go into "
     "the bundle as they are."},
    // The document and its title
    {"no-items", kCheckWarning, "No `file` directly below the root."},
    {"nested-file", kCheckError, "A `file` that isn't a direct child of the root is never seen."},
    {"root-file", kCheckWarning, "The root is a `file`: it is never taken for an item."},
    {"title-missing", kCheckWarning, "The document is called \"Unknown_\" and a number."},
    {"title-empty", kCheckError,
     "Without a folder of its own, the files lie beside the others' folders or outside of the bundle."},
    {"title-path", kCheckError, "A title with a \"/\", or one that is \".\" or \"..\": as above."},
    {"title-too-long", kCheckError, "More than 255 bytes: as above."},
    {"title-blanks", kCheckWarning, "Blanks or line breaks around the title are part of the folder's name."},
    {"title-summary", kCheckError, "The title \"summary.txt\" takes the place of the summary."},
    {"title-variable", kCheckError,
     "A \"$\" in a title: a run that expands it loses the output of the document's commands."},
    {"title-duplicate", kCheckWarning,
     "Two documents of one title share a folder, where files of the same name replace each other."},
    // Items
    {"id-missing", kCheckError, "No `id`: no request can ask for the item."},
    {"id-empty", kCheckError, "An empty `id`: as above."},
    {"id-reserved", kCheckError, "\"comments\" and \"summary\" mean something else in a request."},
    {"id-blanks", kCheckWarning, "Blanks around the `id` count when ids are compared."},
    {"id-duplicate", kCheckError, "A request gathers only the first item of an id in a document."},
    {"id-duplicate-documents", kCheckWarning,
     "Two documents have the id: a request gathers both, with a warning in the summary."},
    {"description-missing", kCheckWarning,
     "Nothing to show while the item is gathered, and an empty column in the summary."},
    {"description-line-break", kCheckWarning, "It breaks the rows of the item's files in the summary."},
    {"default-value", kCheckError,
     "`default` is neither exactly \"true\" nor a plain no: the item isn't a default item."},
    {"name-path", kCheckError, "A \"/\" in `name`: a run by request can't store the files."},
    {"tolm-missing", kCheckError, "No instructions in the item."},
    {"os-missing", kCheckError, "No `os` directly below `tolm`."},
    {"os-empty", kCheckWarning, "An `os` without any kind of action."},
    {"opsys-missing", kCheckError, "An `os` without `opsys` matches no system."},
    {"opsys-unknown", kCheckError, "An `opsys` that no system answers to."},
    {"os-unreachable", kCheckError, "An `os` behind another of the same `opsys` is never used."},
    {"kind-unknown", kCheckError, "No kind of action: skipped with all that it holds."},
    {"kind-empty", kCheckWarning, "A kind without an action."},
    {"action-name", kCheckWarning,
     "An element of another name in the place of an `action` is taken for one."},
    {"action-missing", kCheckError, "A child of an action stands in the place of the action."},
    // Copies: `file_copy_action`
    {"loc-missing", kCheckError, "No `loc`, or an empty one."},
    {"loc-no-slash", kCheckError, "A `loc` without a \"/\" finds nothing."},
    {"loc-ends-in-slash", kCheckError, "A `loc` that ends in \"/\" finds nothing."},
    {"loc-dots", kCheckError, "A `loc` that ends in \".\" or \"..\": those are passed over."},
    {"path-relative", kCheckWarning, "A relative path depends on the folder that the run is started in."},
    {"loc-wildcard-folder", kCheckError, "Wildcards are known only behind the last \"/\"."},
    {"copy-collision", kCheckWarning,
     "Files of one name from two folders: the later copy replaces the earlier."},
    {"wildcard-collision", kCheckWarning,
     "Files of one name that two patterns match now in different folders: the later copy replaces the earlier."},
    {"copy-result-collision", kCheckWarning,
     "A copied file has the name of a command's result: the later replaces the earlier."},
    {"foreign-wildcard", kCheckWarning,
     "Braces, brackets, a comma list or `**`: a run knows `*` and `?` alone."},
    {"gather-newest-value", kCheckError, "`gather_newest` isn't exactly \"true\": every match is gathered."},
    {"gather-newest-dots", kCheckError,
     "The pattern matches the folder itself, which may be the newest: then nothing is gathered."},
    {"truncate-type", kCheckWarning, "`truncate_type` has no effect."},
    {"clear-log-value", kCheckError, "`apply` isn't exactly \"true\": a clear run leaves the action alone."},
    {"clear-log-not-default", kCheckWarning, "A clear run takes default items only."},
    {"clear-system", kCheckError,
     "A clear run would delete below `/etc`, `/usr` or another folder of the system, or a home as a whole."},
    // Commands: `use_extern_action`
    {"unknown-child", kCheckError, "Any other child, `truncate_type` too, drops the whole action."},
    {"args-missing", kCheckError, "No command line."},
    {"args-leading-blank", kCheckError, "A blank at the beginning hides the program."},
    {"args-outer-blanks", kCheckWarning,
     "Blanks or line breaks behind a captured command: harmless, and seen in the result's heading."},
    {"args-before-path", kCheckWarning, "`path` is reduced to a folder only by an `args` behind it."},
    {"path-without-effect", kCheckWarning,
     "`path` and `plugin` don't decide how the command is found or where it runs."},
    {"path-and-plugin", kCheckWarning, "Both fill one place: the last counts."},
    {"regis", kCheckError, "Refused: the path stays empty."},
    {"launch-arguments", kCheckWarning,
     "Without `stdout` no shell splits the arguments: the program gets all of them as one."},
    {"launch-shell-signs", kCheckError,
     "Without `stdout` quotes, pipes and redirections reach the program as they stand."},
    {"launch-empty-argument", kCheckWarning,
     "Without `stdout` a program without arguments gets one empty argument."},
    {"program-path", kCheckError, "A captured program written with its path: the output is lost."},
    {"program-missing", kCheckWarning, "The machine that checks hasn't got the program."},
    {"shell-syntax", kCheckError, "The shell refuses the command line, such as for an unclosed quote."},
    {"command-endless", kCheckError,
     "The command goes on until somebody ends it (`ping` without a count, `journalctl -f`), and so does the "
     "run."},
    {"command-asks", kCheckWarning, "`sudo`, `su`, `ssh` and their like ask, and nobody answers."},
    {"errors-not-captured", kCheckWarning,
     "A captured command whose standard error goes nowhere: no `2>&1`, nor another place for it."},
    {"result-name", kCheckWarning,
     "The result is named after the first word, such as `(ip` or `LC_ALL=C`: begin with the program."},
    {"stdout-text", kCheckError, "`<stdout>false</stdout>` captures like any other `stdout`."},
    {"result-replaced", kCheckError,
     "Two kinds capture programs of one name: the later result replaces the earlier."},
    {"name-shared", kCheckWarning,
     "Two commands of an item with a `name`: a run by request stores both under it."},
    {"temp-out-missing", kCheckError,
     "Neither `stdout` nor `temp_out`: the command runs and nothing is gathered."},
    {"temp-out-ignored", kCheckWarning, "`temp_out` beside `stdout` isn't looked at."},
    {"temp-out-deleted", kCheckWarning, "The file at `temp_out` is deleted once it is copied."},
    {"clear-log-empty", kCheckError, "A `clear_log` that applies and names no command."},
    {"clear-log-variable", kCheckWarning, "Variables in `clear_log` aren't expanded."},
    // Property lists: `get_file_to_copy_action`
    {"list-path-missing", kCheckError, "No `path`: the action is dropped."},
    {"list-clear", kCheckWarning, "This kind has no clearing form: a clear run copies into the root folder."},
    // Requests
    {"request-no-items", kCheckWarning, "Without a `file` nothing is gathered, the default items neither."},
    {"request-id-twice", kCheckWarning, "The item is gathered twice, into the same files."},
    {"request-id-unknown", kCheckWarning, "None of the documents given along has the item."},
    {"request-name-ignored", kCheckWarning, "`name` counts only in the items \"comments\" and \"summary\"."},
    {"request-name-path", kCheckError,
     "The name is empty or holds a \"/\": the file can't be written, or lies outside of the bundle."},
    {"request-comments-missing", kCheckWarning,
     "The item \"comments\" without a text in `comments`: no comments file."},
    // Documents of rules
    {"rule-fault", kCheckError, "A rule that `findings` can't use; see [rules.md](rules.md)."},
});

inline constexpr auto kCheckRuleSections = std::to_array<CheckRuleSection>({
    {"Files and folders", "unreadable"},
    {"Any element", "unknown-element"},
    {"The document and its title", "no-items"},
    {"Items", "id-missing"},
    {"Copies: `file_copy_action`", "loc-missing"},
    {"Commands: `use_extern_action`", "unknown-child"},
    {"Property lists: `get_file_to_copy_action`", "list-path-missing"},
    {"Requests", "request-no-items"},
    {"Documents of rules: `rules`", "rule-fault"},
});
// clang-format on

}  // namespace halvo
