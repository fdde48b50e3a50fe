#include "net/install_pipeline.h"

InstallOutcome RunInstallPipeline(const std::string&, const std::string&) {
    return InstallOutcome::Failed;
}
