#pragma once

#include "orvelin/editor/metadata_editor.h"

namespace orvelin::tasks {

// Holds an editor's lock, when asked to, from construction to destruction: a task's lock is
// released on every way out of its body.
class EditorLock {
 public:
  EditorLock(MetadataEditor& editor, bool take = true) : editor_(take ? &editor : nullptr) {
    if (editor_) editor_->lockEditor();
  }
  ~EditorLock() {
    if (editor_) editor_->unlockEditor();
  }
  EditorLock(const EditorLock&) = delete;
  EditorLock& operator=(const EditorLock&) = delete;

 private:
  MetadataEditor* const editor_;
};

}  // namespace orvelin::tasks
