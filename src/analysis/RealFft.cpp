#include "analysis/RealFft.h"

#include <fftw3.h>

namespace ostinel {

namespace {

// The process's only FFTW plan. The planner is not thread-safe; making it in
// a static's initialiser serialises the one call.
fftwf_plan sharedPlan() {
    static const fftwf_plan plan = [] {
        float* in = fftwf_alloc_real(RealFft::size);
        fftwf_complex* out = fftwf_alloc_complex(RealFft::bins + 1);
        const fftwf_plan made = fftwf_plan_dft_r2c_1d(RealFft::size, in, out, FFTW_ESTIMATE);
        fftwf_free(in);
        fftwf_free(out);
        return made;
    }();
    return plan;
}

} // namespace

RealFft::RealFft()
    : input_(fftwf_alloc_real(size)),
      output_(reinterpret_cast<std::complex<float>*>(fftwf_alloc_complex(bins + 1))) {}

RealFft::~RealFft() {
    fftwf_free(input_);
    fftwf_free(output_);
}

const std::complex<float>* RealFft::forward() {
    fftwf_execute_dft_r2c(sharedPlan(), input_, reinterpret_cast<fftwf_complex*>(output_));
    return output_;
}

} // namespace ostinel
