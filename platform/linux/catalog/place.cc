#include "platform/linux/catalog/place.h"

#include "platform/linux/descriptors/proc_fd_path.h"

namespace tessary {

std::string Place::ProcessPath() const { return ProcFdPath(descriptor()) + "/" + name; }

}  // namespace tessary
