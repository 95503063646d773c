#pragma once

#include <QString>
#include <QtGlobal>

namespace tessary {

// Keeps the token with which the next window of ours may come to the front; Qt passes it to the
// desktop. An empty token changes nothing.
inline void SetActivationToken(const QString& token) {
  if (!token.isEmpty()) qputenv("XDG_ACTIVATION_TOKEN", token.toUtf8());
}

}  // namespace tessary
