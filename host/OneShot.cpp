#include "host/OneShot.h"

#include "host/Container.h"
#include "host/Output.h"

namespace netinfo {

int RunOnce(const CommonOptions& options, Purpose purpose,
            const std::function<Result<std::string>(Session&)>& work)
{
    Container container;
    const auto session = Session::Open(options.modulePath, container);
    if (!session) return Fail(session.Error());

    const auto text = work(**session);
    const auto unsaved = (*session)->End();
    if (!text) return Fail(text.Error());
    if (unsaved && purpose == Purpose::Change) return Fail(*unsaved);
    return Print(*text);
}

}  // namespace netinfo
