#pragma once

#include <cstdint>

namespace mlh {

/// A real FFT in place: a complex split-radix transform of half the length and the step between the two.
///
/// Method: P. Duhamel and H. Hollmann, "Split radix FFT algorithm", 1984, decimation in time; the real step
/// as in J. Cooley, P. Lewis and P. Welch, "The fast Fourier transform algorithm", 1970; the bit reversal by
/// a table of half the bits as in D. Evans, "An improved digit-reversal permutation algorithm", 1987.
///
/// n is a power of two of at least 4, data a packed spectrum or n samples. The tables belong to one n, are
/// filled by the first transform that finds their first entry 0, and are sized by the two functions below.
void RealSplitRadixForward(float* data, int32_t n, int32_t* bitReversal, float* twiddles);
/// Unscaled: gives n/2 times the samples whose spectrum `data` is.
void RealSplitRadixInverse(float* data, int32_t n, int32_t* bitReversal, float* twiddles);

/// The complex transform of n/2 points alone, in pairs of floats, with the tables of n.
void ComplexSplitRadixForward(float* data, int32_t n, int32_t* bitReversal, float* twiddles);

/// Fills both tables, as the first transform would.
///
/// The twiddles of a butterfly of m points, w^k and w^3k for k < m/4, stand at offset m, as rows of the real
/// parts of w^k, its imaginary parts, and the same of w^3k; at offset n the n/4 + 1 cosines of a quarter
/// wave.
void FillSplitRadixTables(int32_t n, int32_t* bitReversal, float* twiddles);

/// Entries of bitReversal: two records of how much of the twiddles is filled, then sqrt(n/2) reversed
/// indices.
int32_t SplitRadixBitReversalSize(int32_t n);
/// Floats of twiddles: n for the butterflies, n/4 + 1 cosines for the real step.
int32_t SplitRadixTwiddleSize(int32_t n);

}  // namespace mlh
