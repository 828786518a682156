#pragma once

#include "KLControl.h"

// A push button or check box: a title and an on/off state (1 on, 0 off).
class KLButton : public KLControl
{
public:
    virtual void setTitle(const std::string& title) = 0;
    virtual std::string title() const = 0;
    virtual void setState(int state) = 0;
    virtual int state() const = 0;
};
