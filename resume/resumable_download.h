#pragma once
#include "net/install_steps.h"
#include "resume/kept_archive.h"

enum class Fetched {
    Complete,   // the whole archive is on disk
    Cancelled,  // the player closed the progress window
    Broken,     // a response that cannot be resumed was unusable or broke off: the attempt failed
    LinkDown,   // request after request brought nothing new
};

// Gets the archive onto the disk, request after request. A request that breaks off after bytes
// came is followed at once by one for the rest (Range, with If-Range naming the response that
// started the file); one that brings nothing new is followed after 1, 2 and 4 s, and after three
// such in a row the download gives up. Bytes are added to the file only from a 206 that starts
// exactly where it ends and names the same whole length; anything else starts it again.
Fetched FetchArchive(ResumableArchive& archive, const PipelineProgress& progress);
