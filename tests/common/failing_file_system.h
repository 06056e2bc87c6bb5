#pragma once

// A file system for fault tests: installed for its lifetime, it forwards every operation to the
// default one, records it, and fails those that `fails` picks.

#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <system_error>
#include <vector>

#include "orvelin/support/file_system.h"

namespace orvelin::testing {

class FailingFileSystem : public FileSystemWrapper {
 public:
  // One operation: its name ("moveItem", "writeFile"...), its number from 1, its paths.
  struct Operation {
    std::string name;
    std::size_t number = 0;
    std::filesystem::path path;
    std::filesystem::path to;  // the second path of moveItem and copyAttributes
  };

  FailingFileSystem() : FileSystemWrapper(FileSystem::Default()) { ORVSetFileSystem(this); }
  ~FailingFileSystem() override { ORVSetFileSystem(nullptr); }
  FailingFileSystem(const FailingFileSystem&) = delete;
  FailingFileSystem& operator=(const FailingFileSystem&) = delete;

  // Picks the operations that fail, with `failure`; none when empty.
  std::function<bool(const Operation&)> fails;
  std::errc failure = std::errc::io_error;

  std::vector<Operation> operations() const {
    std::lock_guard lock(mutex_);
    return operations_;
  }
  // The operations of one name, in order.
  std::vector<Operation> operations(const std::string& name) const {
    std::vector<Operation> named;
    for (auto& operation : operations())
      if (operation.name == name) named.push_back(operation);
    return named;
  }

  void createDirectories(const std::filesystem::path& url, std::error_code& error) override {
    if (!failed({"createDirectories", 0, url, {}}, error)) FileSystemWrapper::createDirectories(url, error);
  }
  void moveItem(const std::filesystem::path& from, const std::filesystem::path& to, std::error_code& error) override {
    if (!failed({"moveItem", 0, from, to}, error)) FileSystemWrapper::moveItem(from, to, error);
  }
  void removeItem(const std::filesystem::path& url, std::error_code& error) override {
    if (!failed({"removeItem", 0, url, {}}, error)) FileSystemWrapper::removeItem(url, error);
  }
  void copyAttributes(const std::filesystem::path& from, const std::filesystem::path& to,
                      std::error_code& error) override {
    if (!failed({"copyAttributes", 0, from, to}, error)) FileSystemWrapper::copyAttributes(from, to, error);
  }
  void writeFile(const std::filesystem::path& url, std::string_view contents, bool sync,
                 std::error_code& error) override {
    if (!failed({"writeFile", 0, url, {}}, error)) FileSystemWrapper::writeFile(url, contents, sync, error);
  }
  bool exists(const std::filesystem::path& url, std::error_code& error) override {
    return !failed({"exists", 0, url, {}}, error) && FileSystemWrapper::exists(url, error);
  }
  std::optional<std::string> readAttribute(const std::filesystem::path& url, const std::string& name,
                                           std::error_code& error) override {
    if (failed({"readAttribute", 0, url, {}}, error)) return std::nullopt;
    return FileSystemWrapper::readAttribute(url, name, error);
  }
  void writeAttribute(const std::filesystem::path& url, const std::string& name,
                      const std::optional<std::string_view>& value, std::error_code& error) override {
    if (!failed({"writeAttribute", 0, url, {}}, error)) FileSystemWrapper::writeAttribute(url, name, value, error);
  }
  void setModificationDate(const std::filesystem::path& url, std::chrono::sys_time<std::chrono::microseconds> date,
                           std::error_code& error) override {
    if (!failed({"setModificationDate", 0, url, {}}, error)) FileSystemWrapper::setModificationDate(url, date, error);
  }

 private:
  // Records the operation; true, with `error` set, when it is to fail.
  bool failed(Operation operation, std::error_code& error) {
    {
      std::lock_guard lock(mutex_);
      operation.number = operations_.size() + 1;
      operations_.push_back(operation);
    }
    if (!fails || !fails(operation)) return false;
    error = std::make_error_code(failure);
    return true;
  }

  mutable std::mutex mutex_;  // guards operations_
  std::vector<Operation> operations_;
};

}  // namespace orvelin::testing
