#pragma once

// The persistent transport of ExifToolCLI: long-lived "exiftool -stay_open True -@ -"
// processes that take one command at a time through their standard input.

#include <optional>

#include "orvelin/support/process_runner.h"

namespace orvelin::exiftool_pool {

// Runs `request` (as ExifToolCLI builds it for a spawned process: the launcher, the exiftool
// script as first argument, then the command's arguments) on a pooled process and returns what
// a spawned process would have given: both output streams, complete and apart, and the exit
// status. Absent when the command must be spawned instead: its arguments cannot travel through
// an argument file, the pool is off, the runner starts no processes alongside, or the command
// failed on two processes in turn (each one is replaced). Safe for concurrent use: at most one
// command per process, callers beyond the pool's size wait for a free process.
std::optional<ProcessResult> run(const ProcessRequest& request);

}  // namespace orvelin::exiftool_pool
