#include "nodes/ConverterNode.h"

#include <Base/GCException.h>

namespace GenApi::detail {

void ConverterNode::Range(double& minimum, double& maximum) {
    minimum = -1.7976931348623157e308;
    maximum = 1.7976931348623157e308;
    try {
        Node* target = m_core.Target();
        const double first = m_core.Convert(FormulaValue::Float(target->ReadFloatMin())).AsDouble();
        const double second = m_core.Convert(FormulaValue::Float(target->ReadFloatMax())).AsDouble();
        if (first != first || second != second) return;
        minimum = first < second ? first : second;
        maximum = first < second ? second : first;
    } catch (const GenICam::GenericException&) {
        // A range the formula cannot map (division by zero at an end): leave it open.
    }
}

double ConverterNode::ReadFloatMin() {
    double minimum = 0;
    double maximum = 0;
    Range(minimum, maximum);
    return minimum;
}

double ConverterNode::ReadFloatMax() {
    double minimum = 0;
    double maximum = 0;
    Range(minimum, maximum);
    return maximum;
}

} // namespace GenApi::detail
