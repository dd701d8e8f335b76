#include <unistd.h>

#include "host/Answerer.h"
#include "host/Commands.h"
#include "host/Screen.h"
#include "host/Summary.h"

namespace netinfo {

int SummaryCommand(const CommonOptions& options)
{
    return AskAndPrint(options, Purpose::Stored, {"GET", "/v1/summary"}, [&](const Json& document) {
        return SummaryText(SummaryFrom(document), SizeOfTerminal(STDOUT_FILENO).columns, options.style);
    });
}

}  // namespace netinfo
