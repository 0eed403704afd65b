#pragma once

#include <QImage>
#include <QWidget>

namespace platform {

// Paints over what CoveredViews leaves out of a picture of the window, as it was rendered. Widgets that have
// no view are asked only where they are for passwords: a rule can only stand on a view. Main thread only.
void coverWidgets(QWidget& window, QImage& picture);

}  // namespace platform
