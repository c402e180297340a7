#include "host/headless/HeadlessNode.h"

#include "host/headless/HeadlessPRSControl.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace {

// Values over a run, left unset: each is written (by GetValues, GetNodeTMs) before it is read,
// where arrays of values would be cleared at every run for nothing.
template <class T, int N> union RunValues {
    RunValues() {}
    T at[N];
};

typedef float Lanes __attribute__((vector_size(16)));

// ComposePRS with factors of 1 over a run, four matrices at a time: MakeMatrix's operations on
// lanes that each hold one sample's quaternion component, the results turned back into rows. The
// same bits in about a third of the instructions, where matrices made one by one cost as much as
// the tracks.
void composeRigidRun(const Quat* q, const Point3* p, int count, Matrix3* out) {
    int k = 0;
    for (; k + 4 <= count; k += 4) {
        Lanes in[4];
        std::memcpy(in, q + k, sizeof(in));
        const Lanes xy01 = __builtin_shufflevector(in[0], in[1], 0, 4, 1, 5);
        const Lanes xy23 = __builtin_shufflevector(in[2], in[3], 0, 4, 1, 5);
        const Lanes zw01 = __builtin_shufflevector(in[0], in[1], 2, 6, 3, 7);
        const Lanes zw23 = __builtin_shufflevector(in[2], in[3], 2, 6, 3, 7);
        const Lanes x = __builtin_shufflevector(xy01, xy23, 0, 1, 4, 5);
        const Lanes y = __builtin_shufflevector(xy01, xy23, 2, 3, 6, 7);
        const Lanes z = __builtin_shufflevector(zw01, zw23, 0, 1, 4, 5);
        const Lanes w = __builtin_shufflevector(zw01, zw23, 2, 3, 6, 7);
        const Lanes xx = x * x, yy = y * y, zz = z * z;
        const Lanes xy = x * y, xz = x * z, yz = y * z;
        const Lanes wx = w * x, wy = w * y, wz = w * z;
        const Lanes m00 = 1.0f - 2.0f * (yy + zz), m01 = 2.0f * (xy - wz), m02 = 2.0f * (xz + wy);
        const Lanes m10 = 2.0f * (xy + wz), m11 = 1.0f - 2.0f * (xx + zz), m12 = 2.0f * (yz - wx);
        const Lanes m20 = 2.0f * (xz - wy), m21 = 2.0f * (yz + wx), m22 = 1.0f - 2.0f * (xx + yy);
        // Rows back: the first four and the next four floats of each matrix, by two transposes.
        const Lanes a01 = __builtin_shufflevector(m00, m01, 0, 4, 1, 5);
        const Lanes a23 = __builtin_shufflevector(m00, m01, 2, 6, 3, 7);
        const Lanes b01 = __builtin_shufflevector(m02, m10, 0, 4, 1, 5);
        const Lanes b23 = __builtin_shufflevector(m02, m10, 2, 6, 3, 7);
        const Lanes c01 = __builtin_shufflevector(m11, m12, 0, 4, 1, 5);
        const Lanes c23 = __builtin_shufflevector(m11, m12, 2, 6, 3, 7);
        const Lanes d01 = __builtin_shufflevector(m20, m21, 0, 4, 1, 5);
        const Lanes d23 = __builtin_shufflevector(m20, m21, 2, 6, 3, 7);
        const Lanes head[4] = {
            __builtin_shufflevector(a01, b01, 0, 1, 4, 5),
            __builtin_shufflevector(a01, b01, 2, 3, 6, 7),
            __builtin_shufflevector(a23, b23, 0, 1, 4, 5),
            __builtin_shufflevector(a23, b23, 2, 3, 6, 7),
        };
        const Lanes middle[4] = {
            __builtin_shufflevector(c01, d01, 0, 1, 4, 5),
            __builtin_shufflevector(c01, d01, 2, 3, 6, 7),
            __builtin_shufflevector(c23, d23, 0, 1, 4, 5),
            __builtin_shufflevector(c23, d23, 2, 3, 6, 7),
        };
        for (int j = 0; j < 4; ++j) {
            const Point3& at = p[k + j];
            const float tail[4] = {m22[j], at.x, at.y, at.z};
            float* m = out[k + j].GetAddr();
            std::memcpy(m, &head[j], sizeof(Lanes));
            std::memcpy(m + 4, &middle[j], sizeof(Lanes));
            std::memcpy(m + 8, tail, sizeof(tail));
            out[k + j].SetIdentFlags(at == Point3() ? POS_IDENT : 0u);
        }
    }
    for (; k < count; ++k)
        ComposePRS(Point3(1.0f, 1.0f, 1.0f), q[k], p[k], out[k]);
}

} // namespace

HeadlessNode::HeadlessNode(WStr name_, SceneObject* object_)
    : name(std::move(name_)), object(object_) {}

Matrix3 HeadlessNode::GetLocalTM(TimeValue t) const {
    if (tmControl) {
        Matrix3 tm(true);
        tmControl->GetValue(t, tm);
        return tm;
    }
    return ComposePRS(scale.GetValue(t), rotation.GetValue(t), position.GetValue(t));
}

Matrix3 HeadlessNode::GetNodeTM(TimeValue t) {
    Matrix3 tm = GetLocalTM(t);
    if (parent != nullptr)
        tm = tm * parent->GetNodeTM(t);
    return tm;
}

Matrix3 HeadlessNode::GetObjectTM(TimeValue t) {
    if (offsetIsIdentity)
        return GetNodeTM(t);
    return offsetTM * GetNodeTM(t);
}

void HeadlessNode::localTMs(const TimeValue* times, int count, Matrix3* out) const {
    if (tmControl) {
        for (int k = 0; k < count; ++k)
            out[k] = GetLocalTM(times[k]);
        return;
    }
    RunValues<Quat, kRun> rotations;
    RunValues<Point3, kRun> positions;
    rotation.GetValues(times, count, rotations.at);
    position.GetValues(times, count, positions.at);
    if (scale.NumKeys() == 0 && scale.GetValue(0) == Point3(1.0f, 1.0f, 1.0f)) {
        // Most nodes never scale: ComposePRS with factors of 1, without asking for them.
        composeRigidRun(rotations.at, positions.at, count, out);
        return;
    }
    RunValues<Point3, kRun> scales;
    scale.GetValues(times, count, scales.at);
    for (int k = 0; k < count; ++k)
        ComposePRS(scales.at[k], rotations.at[k], positions.at[k], out[k]);
}

void HeadlessNode::GetNodeTMs(const TimeValue* times, int count, Matrix3* out) {
    for (int first = 0; first < count; first += kRun) {
        const int n = std::min(kRun, count - first);
        const TimeValue* at = times + first;
        Matrix3* tm = out + first;
        const bool keep = !children.empty();
        if (keep && runMemo && runMemo->revision == HeadlessRevision::Now() &&
            runMemo->count == n && std::equal(at, at + n, runMemo->times)) {
            std::copy_n(runMemo->transforms, n, tm);
            continue;
        }
        localTMs(at, n, tm);
        if (parent != nullptr) {
            RunValues<Matrix3, kRun> parents;
            parent->GetNodeTMs(at, n, parents.at);
            for (int k = 0; k < n; ++k)
                tm[k] = tm[k] * parents.at[k];
        }
        if (keep) {
            if (!runMemo)
                runMemo = std::make_unique<RunMemo>();
            runMemo->revision = HeadlessRevision::Now();
            runMemo->count = n;
            std::copy_n(at, n, runMemo->times);
            std::copy_n(tm, n, runMemo->transforms);
        }
    }
}

void HeadlessNode::GetObjectTMs(const TimeValue* times, int count, Matrix3* out) {
    GetNodeTMs(times, count, out);
    if (!offsetIsIdentity) {
        for (int k = 0; k < count; ++k)
            out[k] = offsetTM * out[k];
    }
}

void HeadlessNode::updateOffset() {
    Matrix3 rot;
    offsetRot.MakeMatrix(rot);
    Matrix3 offset(true);
    ApplyScaling(offset, offsetScale);
    offsetTM = offset * rot;
    offsetTM.SetTrans(offsetPos);
    offsetIsIdentity = offsetPos == Point3() && offsetRot.IsIdentity() &&
                       offsetScale.s == Point3(1.0f, 1.0f, 1.0f);
}

float HeadlessNode::GetLocalVisibility(TimeValue t) {
    if (visControl)
        return visControl->GetFloatValue(t);
    return visibility ? visibility->GetValue(t) : 1.0f;
}

float HeadlessNode::GetVisibility(TimeValue t) {
    const float own = GetLocalVisibility(t);
    if (!inheritVisibility || parent == nullptr)
        return own;
    return own * parent->GetVisibility(t);
}

void HeadlessNode::GetVisibilities(const TimeValue* times, int count, bool inherited, float* out) {
    if (visControl) {
        for (int k = 0; k < count; ++k)
            out[k] = visControl->GetFloatValue(times[k]);
    } else if (visibility) {
        visibility->GetValues(times, count, out);
    } else {
        std::fill_n(out, count, 1.0f);
    }
    if (!inherited || !inheritVisibility || parent == nullptr)
        return;
    for (int first = 0; first < count; first += kRun) {
        const int n = std::min(kRun, count - first);
        float parents[kRun];
        parent->GetVisibilities(times + first, n, true, parents);
        for (int k = 0; k < n; ++k)
            out[first + k] *= parents[k];
    }
}

FloatTrack& HeadlessNode::Visibility() {
    if (!visibility)
        visibility.emplace(1.0f);
    return *visibility;
}

ObjectState HeadlessNode::EvalWorldState(TimeValue, bool evalHidden) {
    if (hidden && !evalHidden)
        return {};
    return {object};
}

void HeadlessNode::SetParent(HeadlessNode* newParent) {
    for (const HeadlessNode* up = newParent; up != nullptr; up = up->parent) {
        if (up == this)
            throw std::invalid_argument("a node cannot be linked below itself");
    }
    if (parent != nullptr) {
        auto& siblings = parent->children;
        siblings.erase(std::remove(siblings.begin(), siblings.end(), this), siblings.end());
    }
    parent = newParent;
    if (parent != nullptr)
        parent->children.push_back(this);
    HeadlessRevision::Changed();
}

void HeadlessNode::SetNodeTM(TimeValue t, const Matrix3& tm) {
    Matrix3 local = tm;
    if (parent != nullptr)
        local = tm * Inverse(parent->GetNodeTM(t));
    AffineParts parts;
    decomp_affine(local, &parts);
    tmControl.reset();
    // Set, not keyed: one key holds the value at every time.
    position.ClearKeys();
    position.AddKey(t, parts.t);
    rotation.ClearKeys();
    rotation.AddKey(t, parts.q);
    scale.ClearKeys();
    scale.AddKey(t, parts.k * parts.f);
}

void HeadlessNode::CopyProperties(INode* from) {
    if (from == nullptr)
        return;
    wireColor = from->GetWireColor();
    inheritVisibility = from->GetInheritVisibility();
}
