// decomp_affine: the polar decomposition M = S * Q (stretch, then rotation) of the 3x3 part,
// and the spectral decomposition S = Inverse(U) * K * U of the stretch.
//
// Both come out of one eigen-decomposition of the symmetric M * Mᵀ = S², computed in double:
// its eigenvectors are the stretch axes, the roots of its eigenvalues the stretch factors, and
// the rotation follows from M row by row. Unlike the Newton iteration this needs no inverse,
// so singular and near-singular matrices go down the same road as the rest.
#include "host/Matrix3.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace {

using Vec = std::array<double, 3>;
using Mat = std::array<Vec, 3>; // rows

constexpr Mat identity() {
    return {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
}

double dot(const Vec& a, const Vec& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

Vec cross(const Vec& a, const Vec& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

Vec scaled(const Vec& a, double f) {
    return {a[0] * f, a[1] * f, a[2] * f};
}

Vec normalized(const Vec& a) {
    const double len = std::sqrt(dot(a, a));
    return len > 0.0 ? scaled(a, 1.0 / len) : a;
}

Mat multiply(const Mat& a, const Mat& b) {
    Mat r{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r[i][j] = a[i][0] * b[0][j] + a[i][1] * b[1][j] + a[i][2] * b[2][j];
    return r;
}

Mat transposed(const Mat& a) {
    Mat r{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r[i][j] = a[j][i];
    return r;
}

double determinant(const Mat& a) {
    return dot(a[0], cross(a[1], a[2]));
}

// Whether the symmetric matrix with this diagonal and these entries above it is diagonal to float
// precision (rigid parts, axis-aligned scale: the common case), and finite: its eigenvectors are
// then the axes.
bool settledDiagonal(double d0, double d1, double d2, double a01, double a02, double a12) {
    const double scale = std::max({std::fabs(d0), std::fabs(d1), std::fabs(d2)});
    const double floatLevel = 1e-6 * scale;
    return std::fabs(a01) <= floatLevel && std::fabs(a02) <= floatLevel &&
           std::fabs(a12) <= floatLevel && std::isfinite(scale);
}

// Eigen-decomposition of a symmetric matrix by cyclic Jacobi rotations: a = Vᵀ diag(l) V, with
// the eigenvectors as the rows of V and det V = +1. Rows that are already orthogonal to float
// precision take no rotation at all (see settledDiagonal, which the caller has found false).
void symmetricEigen(Mat a, Vec& l, Mat& v) {
    const double scale = std::max({std::fabs(a[0][0]), std::fabs(a[1][1]), std::fabs(a[2][2])});
    const double floatLevel = 1e-6 * scale;
    const bool settled = std::fabs(a[0][1]) <= floatLevel && std::fabs(a[0][2]) <= floatLevel &&
                         std::fabs(a[1][2]) <= floatLevel;
    Mat cols = identity(); // eigenvectors as columns while rotating
    for (int sweep = 0; sweep < 32 && !settled; ++sweep) {
        const double off = a[0][1] * a[0][1] + a[0][2] * a[0][2] + a[1][2] * a[1][2];
        if (!(off > 1e-30 * scale * scale))
            break; // converged, or NaN input: stop either way
        static constexpr std::pair<int, int> pairs[] = {{0, 1}, {0, 2}, {1, 2}};
        for (const auto& [p, q] : pairs) {
            if (a[p][q] == 0.0)
                continue;
            const double theta = (a[q][q] - a[p][p]) / (2.0 * a[p][q]);
            const double t =
                (theta >= 0.0 ? 1.0 : -1.0) / (std::fabs(theta) + std::sqrt(theta * theta + 1.0));
            const double c = 1.0 / std::sqrt(t * t + 1.0);
            const double s = t * c;
            Mat j = identity();
            j[p][p] = c;
            j[q][q] = c;
            j[p][q] = s;
            j[q][p] = -s;
            a = multiply(transposed(j), multiply(a, j));
            a[p][q] = a[q][p] = 0.0;
            cols = multiply(cols, j);
        }
    }
    l = {a[0][0], a[1][1], a[2][2]};
    v = transposed(cols);
}

// The quaternion whose MakeMatrix is the rotation r.
Quat quatOf(const Mat& r) {
    if (r == identity())
        return Quat(); // what the general road gives for it, without the road
    // Only the rotation rows are read.
    Matrix3 m;
    float* rows = m.GetAddr();
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            rows[3 * i + j] = static_cast<float>(r[i][j]);
    Quat q(m);
    q.Normalize();
    if (q.w < 0.0f)
        q = -q;
    return q;
}

// Any unit vector perpendicular to a unit vector.
Vec perpendicular(const Vec& a) {
    const int smallest = std::fabs(a[0]) <= std::fabs(a[1])
                             ? (std::fabs(a[0]) <= std::fabs(a[2]) ? 0 : 2)
                             : (std::fabs(a[1]) <= std::fabs(a[2]) ? 1 : 2);
    Vec e{0, 0, 0};
    e[smallest] = 1.0;
    return normalized(cross(a, e));
}

// Rows W of the rotation part: V * M = diag(sigma) * W. Rows are taken in order of falling
// sigma so that the weakest, least certain one is completed by a cross product with the sign
// that gives det W the sign of det M. lengthsKnown: the rows are M's, whose lengths are sigma.
Mat rotationRows(const Mat& vm, const Vec& sigma, double detSign, bool lengthsKnown) {
    // Falling sigma, ties in index order: an insertion sort of three.
    std::array<int, 3> order{0, 1, 2};
    if (sigma[order[1]] > sigma[order[0]])
        std::swap(order[0], order[1]);
    if (sigma[order[2]] > sigma[order[0]])
        order = {order[2], order[0], order[1]};
    else if (sigma[order[2]] > sigma[order[1]])
        std::swap(order[1], order[2]);
    const auto [a, b, c] = order;
    Mat w{};
    if (!(sigma[a] > 0.0))
        return identity(); // the zero matrix: no rotation to find
    // sigma[a] is then the root of the same sum of squares, and not 0.
    w[a] = lengthsKnown ? scaled(vm[a], 1.0 / sigma[a]) : normalized(vm[a]);
    const double along = dot(w[a], vm[b]);
    const Vec rest = {vm[b][0] - w[a][0] * along, vm[b][1] - w[a][1] * along,
                      vm[b][2] - w[a][2] * along};
    const double restLength = std::sqrt(dot(rest, rest));
    w[b] = restLength > 1e-12 * sigma[a] ? scaled(rest, 1.0 / restLength) : perpendicular(w[a]);
    // (a, b, c) even: a × b = c keeps det +1; odd: it flips it.
    const bool even = (a + 1) % 3 == b;
    w[c] = scaled(cross(w[a], w[b]), even ? detSign : -detSign);
    return w;
}

// Picks, among the stretch axes that give the same stretch, those nearest the identity, and
// orders the factors to match.
void snuggle(Mat& u, Vec& k) {
    const double tolerance = 1e-6 * std::max({k[0], k[1], k[2]});
    const bool e01 = std::fabs(k[0] - k[1]) <= tolerance;
    const bool e02 = std::fabs(k[0] - k[2]) <= tolerance;
    const bool e12 = std::fabs(k[1] - k[2]) <= tolerance;
    if (e01 && e02 && e12) {
        const double mean = (k[0] + k[1] + k[2]) / 3.0;
        k = {mean, mean, mean};
        u = identity();
        return;
    }
    if (e01 || e02 || e12) {
        // One odd axis: any turn about it is free, so take the shortest turn that lays it on
        // the coordinate axis it is nearest to.
        const int odd = e12 ? 0 : (e02 ? 1 : 2);
        const double same = (k[0] + k[1] + k[2] - k[odd]) / 2.0;
        const double oddValue = k[odd];
        const Vec& v = u[odd];
        int axis = 0;
        for (int i = 1; i < 3; ++i)
            if (std::fabs(v[i]) > std::fabs(v[axis]))
                axis = i;
        const Vec target = scaled(v, v[axis] < 0.0 ? -1.0 : 1.0);
        Vec e{0, 0, 0};
        e[axis] = 1.0;
        const Vec n = cross(e, target);
        const double c = dot(e, target); // at least 1/sqrt(3): the turn is never half a circle
        // Rows of the turn that carries e onto target (row vectors: e * R = target).
        Mat r{};
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                r[i][j] = (i == j ? c : 0.0) + n[i] * n[j] / (1.0 + c);
        r[0][1] += n[2];
        r[0][2] -= n[1];
        r[1][0] -= n[2];
        r[1][2] += n[0];
        r[2][0] += n[1];
        r[2][1] -= n[0];
        u = r;
        k = {same, same, same};
        k[axis] = oddValue;
        return;
    }
    // Distinct factors: the 24 proper signed permutations of the axes; keep the largest trace.
    static constexpr std::array<std::array<int, 3>, 6> perms{
        {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {2, 1, 0}, {1, 0, 2}}};
    double best = -4.0;
    Mat bestU = u;
    Vec bestK = k;
    for (int p = 0; p < 6; ++p) {
        const auto& perm = perms[p];
        Vec sign{};
        double trace = 0.0;
        int weakest = 0;
        for (int i = 0; i < 3; ++i) {
            const double d = u[perm[i]][i];
            sign[i] = d < 0.0 ? -1.0 : 1.0;
            trace += std::fabs(d);
            if (std::fabs(d) < std::fabs(u[perm[weakest]][weakest]))
                weakest = i;
        }
        const double parity = p < 3 ? 1.0 : -1.0;
        if (sign[0] * sign[1] * sign[2] * parity < 0.0) {
            trace -= 2.0 * std::fabs(u[perm[weakest]][weakest]);
            sign[weakest] = -sign[weakest];
        }
        if (trace > best) {
            best = trace;
            for (int i = 0; i < 3; ++i) {
                bestU[i] = scaled(u[perm[i]], sign[i]);
                bestK[i] = k[perm[i]];
            }
        }
    }
    u = bestU;
    k = bestK;
}

} // namespace

void decomp_affine(const Matrix3& m, AffineParts* parts) {
    const float* rows = m.GetAddr();
    const Mat a = {
        {{rows[0], rows[1], rows[2]}, {rows[3], rows[4], rows[5]}, {rows[6], rows[7], rows[8]}}};
    const double det = determinant(a);
    const double detSign = det < 0.0 ? -1.0 : 1.0;

    // The eigenvalues of M * Mᵀ, each entry a dot product of two rows.
    const double d0 = dot(a[0], a[0]), d1 = dot(a[1], a[1]), d2 = dot(a[2], a[2]);
    const double a01 = dot(a[0], a[1]), a02 = dot(a[0], a[2]), a12 = dot(a[1], a[2]);
    // Axis-aligned stretch (V the identity, exactly): the products with V change nothing.
    const bool aligned = settledDiagonal(d0, d1, d2, a01, a02, a12);
    Vec lambda{d0, d1, d2};
    Mat v = identity();
    if (!aligned)
        symmetricEigen({{{d0, a01, a02}, {a01, d1, a12}, {a02, a12, d2}}}, lambda, v);
    Vec sigma;
    for (int i = 0; i < 3; ++i)
        sigma[i] = std::sqrt(std::max(lambda[i], 0.0));

    // M = S * Qo with S = Vᵀ Σ V and Qo = Vᵀ W; the proper rotation is Q = f * Qo.
    const Mat w = aligned ? rotationRows(a, sigma, detSign, true)
                          : rotationRows(multiply(v, a), sigma, detSign, false);
    Mat q = aligned ? w : multiply(transposed(v), w);
    for (Vec& row : q)
        row = scaled(row, detSign);

    snuggle(v, sigma);

    parts->t = m.GetTrans();
    parts->q = quatOf(q);
    parts->u = quatOf(v);
    parts->k = Point3(float(sigma[0]), float(sigma[1]), float(sigma[2]));
    parts->f = float(detSign);
}
