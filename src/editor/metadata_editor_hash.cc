// The hash that the editions' sets key editors with: an editor's URL.

#include "orvelin/editions/editions_manager.h"
#include "orvelin/editor/metadata_editor.h"

namespace orvelin {

std::size_t MetadataEditorHash::operator()(const std::shared_ptr<MetadataEditor>& editor) const {
  return editor ? std::hash<std::string>{}(editor->hashURL().native()) : 0;
}

}  // namespace orvelin
