#pragma once

#include <QMap>

// A zoom factor kept as a product of integer ratios, so that a step in and a
// step out cancel exactly instead of drifting in floating point. An empty
// fraction is 1.
class Fraction
{
public:
    void clear();
    // Exactly nume / deno.
    void set(int nume, int deno);
    // Multiplies by nume / deno, cancelling against factors already held.
    void multiply(int nume, int deno);
    double toDouble() const;

private:
    // Factor -> how many times it occurs.
    QMap<int, int> numes;
    QMap<int, int> denos;
};
