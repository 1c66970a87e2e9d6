#include "media.h"

#include <QCoreApplication>

namespace media::Widgets {

void registerRenderers()
{
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
}

} // namespace media::Widgets
