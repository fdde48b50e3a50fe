#pragma once
#include <optional>
#include <string>

// The archive file a download writes, and what makes its bytes worth keeping: the response that
// started the file, known by its validator, and that response's whole length. Bytes of another
// response are never added to them.
struct ResumableArchive {
    std::string path;      // game.zip in the install folder
    std::string expected;  // the digest the version file names, lower case
    std::optional<unsigned long long> signedSize;
    std::string validator;          // of the response that started the file; empty: not resumable
    unsigned long long whole = 0;   // that response's length
    unsigned long long held = 0;    // of it, on disk
};

// Beside a kept archive lies its record (game.zip.resume): the expected digest, the whole length
// and the validator, one a line. A run that finds both, for the archive its version file names
// (and signed size), goes on from there; anything else it finds there is deleted.
void TakeUpKeptArchive(ResumableArchive& archive);

// Writes the record of a file a response has just started; without one (the disk may be full)
// the file is not resumable, and validator is cleared.
void RecordArchive(ResumableArchive& archive);

// Deletes the record and forgets the file's response; the archive file itself is left.
void ForgetArchive(ResumableArchive& archive);

// At the end of a run that did not install: keeps the archive and its record when there is
// something to go on with, else deletes both.
void KeepForNextRun(ResumableArchive& archive);
