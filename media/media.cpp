#include "media.h"

#include <QCoreApplication>
#include <malloc.h>

namespace media {

void returnLargeBuffersToSystem()
{
    // Setting it at all stops glibc from raising it; 256 KiB is its usual
    // starting value.
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
}

} // namespace media

namespace media::Widgets {

void registerRenderers()
{
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
}

} // namespace media::Widgets
