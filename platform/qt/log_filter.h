#pragma once

#include <QSortFilterProxyModel>
#include <QString>

#include "platform/qt/session_log.h"

namespace tessary {

// The lines of the log that contain a text, in any letter case; on request the failures first.
class LogFilter final : public QSortFilterProxyModel {
 public:
  // `log` must outlive this object.
  explicit LogFilter(SessionLog* log);

  void SetSearchText(const QString& text);
  void SetFailuresFirst(bool areFirst);

 protected:
  bool filterAcceptsRow(int row, const QModelIndex& parent) const override;
  bool lessThan(const QModelIndex& left, const QModelIndex& right) const override;

 private:
  const SessionLog* log_;
  QString searchText_;
};

}  // namespace tessary
