#include "common/names.h"

const char DownloadServerHost[] = QO_SERVER_HOST;
