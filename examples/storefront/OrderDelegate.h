#pragma once

class CheckoutController;

// Who is told how a checkout ended, and takes it off the screen.
class OrderDelegate {
 public:
  virtual ~OrderDelegate() = default;
  virtual void orderWasPlaced(CheckoutController& checkout) = 0;
  virtual void orderWasCancelled(CheckoutController& checkout) = 0;
};
