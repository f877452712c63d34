#pragma once

#include <string>
#include <string_view>

#include "cli/session.h"

namespace tovrin::cli {

/// One line on standard error that says how far a fetch is; draws nothing unless standard error is a terminal that can
/// redraw a line. Erased with the object.
class ProgressBar {
 public:
  explicit ProgressBar(const Platform& platform);
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  bool isShown() const { return shown_; }

  void draw(double fraction, std::string_view detail);
  /// Adds what the state file says about this item: what the fetch waits for, if anything.
  void draw(const NSProgress& progress, const SharedItem& item);

 private:
  Platform platform_;
  bool shown_ = false;
  bool colour_ = false;
  std::string drawn_;
};

/// `columns` wide at most; the detail is cut, and left out where there is no room.
std::string progressLine(double fraction, std::string_view detail, std::size_t columns, bool colour);

}  // namespace tovrin::cli
