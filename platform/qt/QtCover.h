#pragma once

#include <QImage>
#include <QWidget>

namespace platform {

// Paints over what CoveredViews leaves out of a picture of the window, as it was rendered. Main thread only.
void coverWidgets(QWidget& window, QImage& picture);

}  // namespace platform
