#include "host/contents.h"

namespace veska {

std::optional<Contents> Contents::open(Session& session, FileId file, const TextOptions& options,
                                       Report* why) {
  constexpr int kDefaultDistance = 10;
  Contents contents;
  contents.contents_.reset(vidxGetFileContents(session.index(), file, options.maxBytes,
                                               options.lineWidth, options.withoutMarkup,
                                               kDefaultDistance));
  std::optional<Report> report = session.takeError();
  if (!contents.contents_) {
    *why = report.value_or(Report{"CannotOpenContentsFile", {}});
    return std::nullopt;
  }
  contents.text_ = vfcContents(contents.contents_.get());
  contents.cut_ = contents.text_.size() >= options.maxBytes;
  return contents;
}

}  // namespace veska
