#ifndef ORV_SIM_SEED_H
#define ORV_SIM_SEED_H

// The seed data of tools/sim/seed.json, built into the simulator so that it
// runs from any directory.
class OrvSimSeed
{
public:
    static const char* text();
};

#endif
