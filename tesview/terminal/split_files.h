// An output in many files, whose names tell what is in them: all are there when all are whole, and none
// before.
//
// Lines are gathered in memory and appended to the files in pieces, each of which is open only for that: how
// many files there are depends on no limit of the system.
#ifndef TESVIEW_TERMINAL_SPLIT_FILES_H_
#define TESVIEW_TERMINAL_SPLIT_FILES_H_

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tesview/terminal/packing_of.h"

namespace tesview {

// "{id}" and what stands in its place.
using Placeholders = std::vector<std::pair<std::string_view, std::string>>;

// The word as part of a file's name: '/', control characters, what turns the direction of writing, '%' and a
// point in front become %XX, so that different words stay different.
std::string SafeName(std::string_view utf8);

class SplitFiles {
 public:
  // `pattern` is a path with placeholders. Its ending tells the compression. With `start` every file begins,
  // in front of its header. Nothing is made yet.
  SplitFiles(std::string pattern, bool replace, std::string start);
  // What was not committed is gone, with the directories made for it.
  ~SplitFiles();
  SplitFiles(const SplitFiles&) = delete;
  SplitFiles& operator=(const SplitFiles&) = delete;

  // To the file of these values, behind the header where it is the first. False, and nothing is written, if
  // the file has another header. Throws FileIsThere, OutputError and Interrupted.
  bool Add(const Placeholders& values, const std::string& header, std::string_view lines);

  // Gives all files their names. Throws what Add() throws; no file is there then that was not before.
  void Commit();

 private:
  struct Part {
    const std::string* path = nullptr;
    const std::string* header = nullptr;
    std::string waiting;
    size_t number = 0;
  };

  std::string PathOf(const Placeholders& values);
  std::string ShortName(const std::string& safe);
  Part* PartOf(const Placeholders& values, const std::string& header);
  void MakeDirectories(const std::string& path);
  void Begin();
  std::string NameOf(size_t number) const;
  void Append(Part* part);
  void AppendLargest();
  void Pack(size_t number);
  void NameAll(const std::vector<const Part*>& parts, std::vector<std::string>* named);

  const std::string pattern_;
  const bool replace_;
  const std::string start_;
  const Packing packing_;
  std::string directory_;                        // of the parts; empty until there are any
  std::vector<std::string> made_;                // directories that were not there
  std::unordered_map<std::string, Part> parts_;  // by path
  std::set<std::string> headers_;
  std::map<std::string, std::string> short_names_;
  size_t waiting_ = 0;  // bytes in all parts
  size_t files_ = 0;    // names that are used up in the directory
};

}  // namespace tesview

#endif  // TESVIEW_TERMINAL_SPLIT_FILES_H_
