#include "platform/qt/log_filter.h"

namespace tessary {

LogFilter::LogFilter(SessionLog* log) : log_(log) { setSourceModel(log); }

void LogFilter::SetSearchText(const QString& text) {
  searchText_ = text;
  invalidateFilter();
}

// Column -1 restores the order of the log.
void LogFilter::SetFailuresFirst(bool areFirst) { sort(areFirst ? 0 : -1); }

bool LogFilter::filterAcceptsRow(int row, const QModelIndex& /*parent*/) const {
  return searchText_.isEmpty() || log_->MessageOf(row).contains(searchText_, Qt::CaseInsensitive) ||
         log_->ProblemOf(row).contains(searchText_, Qt::CaseInsensitive);
}

bool LogFilter::lessThan(const QModelIndex& left, const QModelIndex& right) const {
  const bool isLeftFailure = log_->IsFailure(left.row());
  if (isLeftFailure != log_->IsFailure(right.row())) return isLeftFailure;
  return left.row() < right.row();
}

}  // namespace tessary
