#include "auto/filter.h"

#include <cmath>

TFilter::TFilter(int k)
{
    SetK(k);
}

TFilter::~TFilter()
{
    SetK(0);
}

void TFilter::SetK(int k)
{
    delete[] Weights;
    Weights = nullptr;
    K = 0;
    if (k <= 1)
        return;
    Weights = new double[static_cast<unsigned>(k)];
    K = k;
    const double step = std::log(0.125) / k;
    double sum = 0.0;
    for (int j = 0; j < k; ++j) {
        Weights[j] = std::exp(step * (j + 1));
        sum += Weights[j];
    }
    for (int j = 0; j < k; ++j)
        Weights[j] /= sum;
}
