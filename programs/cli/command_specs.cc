#include "programs/cli/command_specs.h"

#include <array>

namespace tessary {
namespace {

constexpr OptionSpec kVersionOption = {"-V,--version", "", "print the version and exit"};

constexpr std::array kProgramOptions = {kVersionOption};

constexpr std::array kAggregateOptions = {
    OptionSpec{"-k,--kind", "KIND",
               "the key to sort by (TessaryType):\n"
               "  extension          jpg                1 (default)\n"
               "  file-type          JPEG               2\n"
               "  mime-type          image:jpeg         3\n"
               "  modification-date  2009/Mar 04, 2009  4\n"
               "  creation-date      2009/Mar 04, 2009  5"},
    OptionSpec{"-r,--recurse", "",
               "descend into subfolders; they stay where they are,\n"
               "empty if their files are moved (RecurseFolders)"},
    OptionSpec{"--copy", "", "copy files, the default (FileOperation: 2)"},
    OptionSpec{"--move", "", "move files (FileOperation: 1)"},
    OptionSpec{"--replace", "",
               "permanently delete existing files of the same name,\n"
               "including files that this run created, but never a\n"
               "non-empty folder (ReplaceFilesBySameName)"},
    OptionSpec{"--preserve-comments", "", "copy comments too (PreserveComments: false)"},
    OptionSpec{"--whole-application", "",
               "if SOURCE is an application, sort all of it instead\n"
               "of its resources (AggregateAppResourcesOnly: true)"},
    OptionSpec{"--journal", "FILE", "record each change in the new FILE, for undo"},
    OptionSpec{"--dry-run", "",
               "change nothing; log and count what the run would do,\n"
               "as far as it can be known without trying"},
    OptionSpec{"-q,--quiet", "", "log failures only"},
    OptionSpec{"-v,--verbose", "", "log each filed item, on a terminal too"},
    OptionSpec{"--summary", "",
               "print a table of the key folders at the end, with the\n"
               "number and size of the items put there"},
    OptionSpec{"--json", "",
               "print one line of JSON for each item instead of the\n"
               "summary"},
};

constexpr std::array kDefaultsOptions = {
    OptionSpec{"--force", "", "with write: store a number that has no meaning"}};

constexpr std::array kInfoOptions = {OptionSpec{"--json", "", "print the result as JSON"}};

constexpr std::array kUndoOptions = {
    OptionSpec{"--dry-run", "", "list what would be done, and change nothing"}};

constexpr std::array kDesktopOptions = {
    OptionSpec{"--aggregate", "",
               "ask the running instance to aggregate the folders,\n"
               "starting it if necessary, and exit at once"},
    kVersionOption,
};

}  // namespace

constinit const CommandSpec kProgramSpec = {
    .name = "tessary-cli",
    .usage =
        "  tessary-cli aggregate [OPTION]... SOURCE DESTINATION\n"
        "  tessary-cli defaults read [KEY]\n"
        "  tessary-cli defaults write [--force] KEY [-bool|-int] VALUE\n"
        "  tessary-cli defaults delete KEY\n"
        "  tessary-cli info [--json] FILE...\n"
        "  tessary-cli integrate install|remove|status\n"
        "  tessary-cli undo [--dry-run] JOURNAL\n",
    .description =
        "Sorts the contents of a folder into subfolders, one for each value of a key.\n"
        "\n"
        "Commands (each has a help of its own: tessary-cli COMMAND --help):\n"
        "  aggregate  sort the files of one folder into subfolders of another\n"
        "  defaults   print and change the stored settings\n"
        "  info       print what a run sees of a file\n"
        "  integrate  add tessary to the menus of Thunar and Nautilus\n"
        "  undo       reverse a run that was given --journal\n",
    .options = kProgramOptions,
    .footer =
        "Exit status:\n"
        "  0  success\n"
        "  1  the run did not take place, or the command failed\n"
        "  2  usage error; nothing was done\n"
        "  3  some items could not be filed, some FILEs could not be read, or some\n"
        "     changes could not be undone\n",
};

constinit const CommandSpec kAggregateSpec = {
    .name = "tessary-cli aggregate",
    .usage = "  tessary-cli aggregate [OPTION]... SOURCE DESTINATION\n",
    .description =
        "Sorts the files in SOURCE into subfolders of DESTINATION, one for each value of\n"
        "a key. DESTINATION is created if its parent exists. Packages are sorted whole.\n"
        "Skipped: files without a key, dotfiles, and files with the Mac invisible flag.\n"
        "A file whose name exists already gets a distinct name.\n"
        "\n"
        "Keep the two folders apart: if one contains the other, a run by date, or with\n"
        "--replace, changes SOURCE even if it copies. A run by date also moves the files\n"
        "directly in the folders of DESTINATION into day folders.\n"
        "\n"
        "An option overrides a stored setting (in brackets) for this run only.\n",
    .options = kAggregateOptions,
    .footer =
        "After \"--\", names that begin with \"-\" may follow.\n"
        "\n"
        "The log and, at the end, the failures are written to standard error, and one\n"
        "line to standard output: \"12034 filed, 41 skipped, 3 failed in 4.2 s\".\n"
        "\n"
        "Example:\n"
        "  tessary-cli aggregate -r --kind creation-date ~/Pictures ~/By-day\n",
};

constinit const CommandSpec kDefaultsSpec = {
    .name = "tessary-cli defaults",
    .usage =
        "  tessary-cli defaults read [KEY]\n"
        "  tessary-cli defaults write [--force] KEY [-bool|-int] VALUE\n"
        "  tessary-cli defaults delete KEY\n",
    .description =
        "Prints, stores or deletes settings, which the desktop program shares. They are\n"
        "stored in tessary/preferences.toml in $XDG_CONFIG_HOME, or in ~/.config.\n"
        "\n"
        "Numbers:\n"
        "  FileOperation              1 moves files, 2 copies them (default)\n"
        "  TessaryType                the key to sort by: 1 extension (default),\n"
        "                             2 file-type, 3 mime-type, 4 modification-date,\n"
        "                             5 creation-date\n"
        "\n"
        "Booleans, true, yes, 1, false, no or 0:\n"
        "  QuitWhenDone               true: the desktop program quits after a run\n"
        "  RecurseFolders             true: descend into subfolders\n"
        "  ReplaceFilesBySameName     true: delete existing files of the same name\n"
        "  AggregateAppResourcesOnly  true: sort all of an application,\n"
        "                             not only its resources\n"
        "  PreserveComments           false: copy comments too\n"
        "\n"
        "The key determines the type of VALUE; -bool and -int may be left out.\n",
    .options = kDefaultsOptions,
    .hasDashedOperands = true,
};

constinit const CommandSpec kInfoSpec = {
    .name = "tessary-cli info",
    .usage = "  tessary-cli info [--json] FILE...\n",
    .description =
        "Prints what a run sees of each FILE: what it is, its key for each kind, its\n"
        "type, creator, flags, comment and dates. The origin of each value, an extended\n"
        "attribute or a \"._\" file, is shown in brackets. A symbolic link is reported\n"
        "as a link, with its target's dates.\n",
    .options = kInfoOptions,
};

constinit const CommandSpec kIntegrateSpec = {
    .name = "tessary-cli integrate",
    .usage = "  tessary-cli integrate install|remove|status\n",
    .description =
        "Adds the desktop program to the context menus of Thunar and Nautilus, removes\n"
        "it, or prints whether it is there. Nothing else in their configuration is\n"
        "changed.\n",
};

constinit const CommandSpec kUndoSpec = {
    .name = "tessary-cli undo",
    .usage = "  tessary-cli undo [--dry-run] JOURNAL\n",
    .description =
        "Reverses the run that has written JOURNAL: moves back what it has moved, deletes\n"
        "the copies that it has made, and removes the empty folders that it has created.\n"
        "Skips whatever has changed since, and overwrites nothing. Items that --replace\n"
        "has deleted cannot be restored. An undo that was interrupted can be repeated.\n",
    .options = kUndoOptions,
};

constinit const CommandSpec kDesktopSpec = {
    .name = "tessary",
    .usage =
        "  tessary [QT-OPTION]... [FOLDER]...\n"
        "  tessary --aggregate FOLDER...\n",
    .description =
        "Opens a window onto which folders can be dropped, to be sorted into subfolders\n"
        "of another folder. A FOLDER that is named is treated as if it was dropped. If\n"
        "the program is running already, it receives the folders.\n",
    .options = kDesktopOptions,
    .footer =
        "Standard Qt options, such as -platform and -style, may precede the folders.\n"
        "After \"--\", names that begin with \"-\" may follow.\n",
};

std::string VersionText(const CommandSpec& program) {
  return std::string(program.name) + " " TESSARY_VERSION "\n";
}

}  // namespace tessary
