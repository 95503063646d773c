#pragma once

#include <string>
#include <vector>

namespace tessary::test {

// What is told of every object of a tree besides its name, kind, contents and where a link leads.
struct TreeAspects {
  bool modes = true;
  bool owners = true;
  bool times = true;        // the modification's
  bool linkTimes = true;    // the same of links
  bool attributes = true;   // all that this process may read, but for labels of security modules
  bool hardLinks = true;    // which names of the tree are one file
  bool identities = false;  // inode and device: the very same objects
};

// The object at the path and everything below it as one line each, in order of their names, the
// object itself being ".". Two trees with the same lines hold the same. Links are not followed and
// nothing but regular files and folders is opened.
std::vector<std::string> TreeLines(const std::string& path, const TreeAspects& aspects = {});

}  // namespace tessary::test
