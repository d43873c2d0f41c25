// The file that a report's page is written to.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace quelt {

/// A file whose content is replaced as a whole: readers see the old or the new one. If the path is
/// that of a pipe or a device, the content is written to it instead.
class PageFile {
 public:
  /// "": no file. Throws QueltCtlException if the file can't be written; creates no file.
  explicit PageFile(const std::string& path);

  bool wanted() const { return !path_.empty(); }
  void Write(const std::string& content) const;

 private:
  void Replace(const std::string& content) const;

  std::string path_;      ///< as given, for messages
  std::string target_;    ///< without symbolic links
  bool replaced_ = true;  ///< false for a pipe or device
};

}  // namespace quelt
