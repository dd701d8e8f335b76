// Sleeps 50 ms twenty times a second and does nothing else: what the plug-in's polling costs a machine before
// the plug-in does anything. measure-process runs it beside the host.

#include <unistd.h>

int main()
{
    for (;;)
        usleep(50'000);
}
