#pragma once

#include <complex>
#include <memory>

namespace ostinel {

// A 1024-point forward real transform with buffers of its own, one per
// thread. All instances share one plan: the planner is not thread-safe,
// execution on separate buffers of the same alignment is.
class RealFft {
  public:
    static constexpr int size = 1024;
    static constexpr int bins = size / 2;

    RealFft();
    ~RealFft();
    RealFft(const RealFft&) = delete;
    RealFft& operator=(const RealFft&) = delete;

    float* input() { return input_; }
    // The plain DFT of input(), bins 0 through `bins` inclusive.
    const std::complex<float>* forward();

  private:
    float* input_;
    std::complex<float>* output_;
};

} // namespace ostinel
