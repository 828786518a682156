#include "FendrelPref.h"

// The user actions behind these callbacks come with the pane's actions.

void FendrelPref::deleteRow(KLListView*, int)
{
}

void FendrelPref::userWasDeleted(const std::string&)
{
}

void FendrelPref::replaceAddressAtIndex(std::size_t, const std::string&)
{
}

void FendrelPref::addAddressesFromArray(const std::vector<std::string>&)
{
}

void FendrelPref::webOutlineClick(void*)
{
}

void FendrelPref::presentManualEditingErrorWithInvocation(KLInvocation)
{
}
