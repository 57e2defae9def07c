#ifndef FAULTPLAN_H
#define FAULTPLAN_H

constexpr bool HasOwnFaultPlan = true;

#endif
