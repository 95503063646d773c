#pragma once

#include <string>
#include <vector>

namespace tessary::test {

// What TreeLines prints for every object besides its name, kind, contents and link target.
struct TreeAspects {
  bool modes = true;
  bool owners = true;
  bool times = true;            // of modification
  bool folderTimes = true;      // with `times`: those of folders, too
  bool linkTimes = true;        // modification times of symbolic links
  bool attributes = true;       // all that this process may read, except security labels
  bool hardLinks = true;        // which names inside the tree are the same file
  bool identities = false;      // inode and device numbers
  bool linkCounts = false;      // how many names each file inside the tree has
  bool creationDates = true;    // the attribute in which copies store the creation date
  bool ownComment = true;       // the comment attribute of the object at the path
  bool hashedContents = false;  // a hash instead of the contents of each file
};

// The object at the path and everything below it, one line each, in the order of their names. The
// object at the path is named ".". Trees with equal lines are equal. Follows no links, and opens
// only regular files and folders.
std::vector<std::string> TreeLines(const std::string& path, const TreeAspects& aspects = {});

// The same as one text.
std::string TreeText(const std::string& path, const TreeAspects& aspects = {});

}  // namespace tessary::test
