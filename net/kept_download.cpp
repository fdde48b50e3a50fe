#include "net/install_pipeline.h"

// The plain build keeps nothing of a download that did not finish.
std::string KeptDownloadNote(const std::string&) { return {}; }
