#include "platform/uikit/CoveredViews.h"

namespace platform {

namespace {

constinit CoveredViews::Rule present = nullptr;

}  // namespace

CoveredViews::CoveredViews(Rule rule) { present = rule; }

CoveredViews::~CoveredViews() { present = nullptr; }

bool CoveredViews::areAny() { return present != nullptr; }

ViewCover CoveredViews::coverOf(UIView& view) { return present ? present(view) : ViewCover::None; }

}  // namespace platform
