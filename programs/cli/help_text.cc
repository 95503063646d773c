#include "programs/cli/help_text.h"

namespace tessary {

std::string_view HelpText() {
  return R"(tessary-cli files the contents of a folder into subfolders, one for each value
of a key.

Usage:
  tessary-cli aggregate [OPTION]... SOURCE DESTINATION
  tessary-cli defaults read [KEY]
  tessary-cli defaults write KEY (-bool|-int) VALUE
  tessary-cli defaults delete KEY
  tessary-cli integrate install|remove|status
  tessary-cli info [--json] FILE...
  tessary-cli --help | --version

aggregate files what lies in SOURCE into DESTINATION, which is made when only
its last part is missing. What has no key, a name that begins with "." or a
Mac's invisible flag stays where it is; packages are filed whole. A file whose
name is taken gets a new name. Keep the two folders apart: by date, and with
--replace, even a copy changes a SOURCE that lies inside DESTINATION or around
it. An option stands in for a stored setting (in brackets) in this run only.

  --kind KIND          the key to file by (TessaryType):
                         extension          jpg               1, the default
                         file-type          JPEG              2
                         mime-type          image:jpeg        3
                         modification-date  2009/Mar 04, 2009 4
                         creation-date      likewise          5
                       The dates also move the files that lie directly in the
                       folders of DESTINATION into folders of days there.
  --recurse            enter subfolders; they stay behind, empty when moving
                       (RecurseFolders)
  --copy, --move       copy files, the default, or move them
                       (FileOperation: 2 to copy, any other number to move)
  --replace            where a name is taken, delete what bears it for good,
                       also if this run has filed it; but never a folder or
                       package that holds anything (ReplaceFilesBySameName)
  --preserve-comments  carry comments over (PreserveComments: false does so)
  --whole-application  when SOURCE is an application, file the whole of it
                       instead of its resources
                       (AggregateAppResourcesOnly: true does so)
  --                   end of the options: names beginning with "-" may follow

defaults reads and changes the stored settings, which the desktop program
shares. FileOperation and TessaryType hold numbers (-int); RecurseFolders,
ReplaceFilesBySameName, PreserveComments, AggregateAppResourcesOnly and
QuitWhenDone hold true, yes, 1, false, no or 0 (-bool). They are kept in
tessary/preferences.toml in $XDG_CONFIG_HOME, or in ~/.config.

integrate puts the desktop program into the menus of Thunar and Nautilus, takes
it out again, or tells whether it is there. Nothing else of theirs is changed.

info tells what a run sees of each FILE: what it is, the key by each kind, type,
creator, flags, comment and dates, and in brackets the attribute or the "._"
file that each comes from. --json tells it to programs.

The log goes to standard error, and at the end one line to standard output:
"12034 filed, 41 left, 3 failed, 4.2 secs". Left are items without a key and
those that lie in their key folder themselves.

Exit status:
  0  no item failed; or the command did what it was asked to do
  1  the run did not take place, or the command failed: a line says why
  2  bad usage: nothing was done
  3  some items could not be filed, or some FILEs not be told of

Example:
  tessary-cli aggregate --kind creation-date --recurse ~/Pictures ~/By-day
)";
}

std::string_view VersionText() { return "tessary-cli " TESSARY_VERSION "\n"; }

}  // namespace tessary
