#include "host/headless/HeadlessNode.h"

#include "host/headless/HeadlessPRSControl.h"

#include <algorithm>
#include <stdexcept>

namespace {

// Values over a run, left unset: each is written (by GetValues, GetNodeTMs) before it is read,
// where arrays of values would be cleared at every run for nothing.
template <class T, int N> union RunValues {
    RunValues() {}
    T at[N];
};

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
        for (int k = 0; k < count; ++k) {
            rotations.at[k].MakeMatrix(out[k]);
            out[k].ClearIdentFlag(ROT_IDENT | SCL_IDENT);
            out[k].SetTrans(positions.at[k]);
        }
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
