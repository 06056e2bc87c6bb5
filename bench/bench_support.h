#pragma once

// Helpers shared by the benchmark programs: the sample files, timing, resident memory.

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace orvelin::bench {

// The sample files: tests/data and, when present beside the repository, the shared corpus.
inline std::vector<std::filesystem::path> sampleImages() {
  std::vector<std::filesystem::path> files;
  for (const auto* folder : {ORVELIN_TEST_DATA_DIR, ORVELIN_SOURCE_DIR "/../shared/corpus/formats",
                             ORVELIN_SOURCE_DIR "/../shared/corpus/camera"}) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
      const auto extension = entry.path().extension().string();
      if (extension == ".jpg" || extension == ".tif" || extension == ".png" || extension == ".nef" ||
          extension == ".cr2" || extension == ".dng")
        files.push_back(entry.path());
    }
  }
  return files;
}

// Seconds taken by `work`.
template <typename Work>
double secondsOf(Work&& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Resident memory of this process in kilobytes.
inline long residentKilobytes() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line))
    if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
  return 0;
}

}  // namespace orvelin::bench
