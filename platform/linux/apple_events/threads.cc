#include "platform/managers/threads.h"

#include <thread>

namespace tessary {

void YieldToAnyThread() { std::this_thread::yield(); }

}  // namespace tessary
