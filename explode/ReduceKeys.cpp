#include "explode/ReduceKeys.h"

#include "host/Host.h"

#include <vector>

namespace {

float distanceSq(float v, float s) {
    return (v - s) * (v - s);
}
float distanceSq(const Point2& v, const Point2& s) {
    const Point2 d = v - s;
    return d.x * d.x + d.y * d.y + 0.0f;
}
float distanceSq(const Point3& v, const Point3& s) {
    return (v - s).LengthSquared();
}
float distanceSq(const Point4& v, const Point4& s) {
    const Point4 d = v - s;
    return d.x * d.x + d.y * d.y + d.z * d.z + d.w * d.w;
}
float distanceSq(const Quat& v, const Quat& s) {
    const float angle = AngAxis(s / v).angle;
    return angle * angle;
}
float distanceSq(const ScaleValue& v, const ScaleValue& s) {
    return (v.s - s.s).LengthSquared();
}

template <class T> T valueAt(const Control& control, TimeValue t) {
    T value{};
    Interval valid = NEVER;
    control.GetValue(t, &value, valid);
    return value;
}

template <class T>
bool ReduceKeysOf(Control& control, Interval interval, float thresh, std::int32_t stepTicks) {
    std::vector<TimeValue> keyTimes;
    control.GetKeyTimes(keyTimes, interval, 0);
    if (keyTimes.empty())
        return true;
    const float threshSq = thresh * thresh;
    const std::int64_t start = interval.Start();
    const std::int64_t end = interval.End();
    // The script passes its step as it stands: a step below 1 has no grid to test on.
    if (stepTicks < 1 || end < start || (end - start) / stepTicks + 1 > kMaxReduceSamples)
        return true;

    std::vector<T> samples(static_cast<std::size_t>((end - start) / stepTicks + 1));
    {
        std::size_t j = 0;
        for (std::int64_t t = start; t < end; t += stepTicks)
            samples[j++] = valueAt<T>(control, static_cast<TimeValue>(t));
    }

    SuspendedHold suspended(GetHost().Hold());
    std::unique_ptr<Control> clone = control.Clone();
    if (!clone)
        return true;
    const std::uint32_t bothEnds = TIME_INCLEFT | TIME_INCRIGHT;
    for (auto it = keyTimes.rbegin(); it != keyTimes.rend(); ++it) {
        const Interval at(*it, *it);
        const int index = clone->GetKeyIndex(*it);
        std::unique_ptr<TrackClipObject> piece = clone->CopyTrack(at, bothEnds);
        clone->DeleteKeyByIndex(index);
        std::size_t j = 0;
        for (std::int64_t t = start; t < end; t += stepTicks, ++j) {
            if (distanceSq(valueAt<T>(*clone, static_cast<TimeValue>(t)), samples[j]) > threshSq) {
                clone->PasteTrack(piece.get(), at, bothEnds);
                break;
            }
        }
    }
    suspended.resume();
    control.Copy(clone.get());
    return true;
}

} // namespace

bool ReduceControlKeys(Control& control, Interval interval, float thresh, std::int32_t stepTicks) {
    const int keys = control.NumKeys();
    if (keys == -1 || keys == 0)
        return true;
    switch (control.SuperClassID()) {
    case CTRL_FLOAT_CLASS_ID:
        return ReduceKeysOf<float>(control, interval, thresh, stepTicks);
    case CTRL_POINT2_CLASS_ID:
        return ReduceKeysOf<Point2>(control, interval, thresh, stepTicks);
    case CTRL_POINT3_CLASS_ID:
    case CTRL_POSITION_CLASS_ID:
        return ReduceKeysOf<Point3>(control, interval, thresh, stepTicks);
    case CTRL_POINT4_CLASS_ID:
        return ReduceKeysOf<Point4>(control, interval, thresh, stepTicks);
    case CTRL_ROTATION_CLASS_ID:
        return ReduceKeysOf<Quat>(control, interval, thresh, stepTicks);
    case CTRL_SCALE_CLASS_ID:
        return ReduceKeysOf<ScaleValue>(control, interval, thresh, stepTicks);
    default:
        return false;
    }
}

bool ReduceKeys(wkCacheExplodeTarget& object, ControlSet& controllers, Interval interval,
                std::int32_t stepTicks, float thresh) {
    const auto n = static_cast<std::int32_t>(controllers.size());
    if (n == 0)
        return true;
    object.beginOperation(L"Reducing Keys (%i %%) ...", L"Reducing Keys ...");
    UndoHold& hold = GetHost().Hold();
    hold.Begin();
    bool cancelled = false;
    std::int32_t i = 0;
    for (Control* control : controllers) {
        ReduceControlKeys(*control, interval, thresh, stepTicks);
        ++i;
        if (i % 100 == 0 && !object.reportProgress(i, n)) {
            cancelled = true;
            break;
        }
    }
    object.endOperation();
    if (cancelled)
        hold.Cancel();
    else
        hold.Accept(L"Reduce Keys");
    controllers.clear();
    return !cancelled;
}

void AddTransformControllers(INode& node, ControlSet& controllers) {
    MatrixControl* tm = node.GetTMController();
    if (tm == nullptr)
        return;
    for (Control* part :
         {tm->GetPositionController(), tm->GetRotationController(), tm->GetScaleController()}) {
        if (part != nullptr)
            controllers.insert(part);
    }
}
