#pragma once

#include <QColor>
#include <QImage>
#include <memory>

#include "platform/graphics/Color.h"
#include "platform/graphics/Image.h"

namespace platform {

QColor colorOf(const Color& color);
std::shared_ptr<const Image> imageOf(const QImage& picture, double pixelsPerPoint);

// Makes Qt draw, measure text and read and write PNG, so that nothing else is loaded for it. On the thread of
// the QGuiApplication, before anything is drawn.
void installQtDrawing();

}  // namespace platform
