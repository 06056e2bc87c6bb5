#include <string>
#include <vector>

#include "orvelin/catalogue/tags_resources_writer.h"
#include "orvelin/support/file_system.h"

namespace orvelin {

namespace fs = std::filesystem;

// Moves done here, undone the last first on failure, so that DIR keeps one whole catalogue.
std::optional<std::string> TagsResourcesWriter::replaceCatalogue(const fs::path& fresh, const fs::path& directory) {
  auto* fileSystem = ORVGetFileSystem();
  struct Move {
    fs::path from, to;
  };
  std::vector<Move> done;
  // Undoes the moves made, the last first; the text of what could not be undone.
  const auto undo = [&] {
    std::string failures;
    for (auto move = done.rbegin(); move != done.rend(); ++move) {
      std::error_code error;
      fileSystem->moveItem(move->to, move->from, error);
      if (error)
        failures += "; " + move->from.filename().string() + " cannot be put back, it stays at " + move->to.string() +
                    ": " + error.message();
    }
    return failures;
  };
  for (const char* name : {"Tags", "Localized tags"}) {
    std::vector<Move> moves;
    std::error_code error;
    if (fs::exists(directory / name, error)) moves.push_back({directory / name, fresh / (std::string("former ") + name)});
    moves.push_back({fresh / name, directory / name});
    for (const auto& move : moves) {
      fileSystem->moveItem(move.from, move.to, error);
      if (error) return std::string(name) + " cannot be replaced: " + error.message() + undo();
      done.push_back(move);
    }
  }
  return std::nullopt;
}

}  // namespace orvelin
