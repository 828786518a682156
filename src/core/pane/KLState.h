#pragma once

// A boxed integer that stands in for a check box, pop-up menu or radio group
// as the argument of an action, so that start-up code and held-back actions
// can call the action with a value instead of a control.
class KLState
{
public:
    KLState() = default;
    explicit KLState(int state) : state_(state) {}
    static KLState stateWithState(int state) { return KLState(state); }

    int state() const { return state_; }
    int indexOfSelectedItem() const { return state_; }
    int selectedRow() const { return state_; }
    void setState(int state) { state_ = state; }

private:
    int state_ = 0;
};
