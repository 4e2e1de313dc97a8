' Switches, scopes, and the objects that hold them.
Option Explicit

Dim options, reader, scope, engine
Set options = CreateObject("Kelvane.cComparisonOptions")
check.Same options.Tables, False
options.Tables = True
check.Same options.Tables, True
check.Same options & "", "True"              ' the member with the number 0 is the default one
options.Users_SystemPermissions = True       ' these are put by reference
options.Groups_ObjectPermissions = 1
check.Same options.Users_SystemPermissions, True
check.Same options.Groups_ObjectPermissions, True
Dim flag
flag = False
options.Groups_ObjectPermissions = flag
check.Same options.Groups_ObjectPermissions, False
flag = True
options.Groups_ObjectPermissions = flag
check.Same options.Groups_ObjectPermissions, True
check.Same options.Functions_Columns_Precisions, False

Set reader = CreateObject("Kelvane.cASE_Fetch")
check.Same reader.CompareOptions.Tables, False
reader.CompareOptions.Views = True
check.Same reader.CompareOptions.Views, True
Set reader.CompareOptions = options
check.Same reader.CompareOptions Is options, True
check.Same reader.IsDataCaseSensitive, False
reader.LastError = "not kept"
check.Same reader.LastError, ""

Class Names
  Public Property Get Count()
    Count = 1
  End Property
  Public Function Item(index)
    Item = "dbo.orders"
  End Function
End Class

Set scope = CreateObject("Kelvane.cAppliesTo")
check.Same scope.SomeTables Is Nothing, True
Dim list
Set list = New Names
Set scope.SomeTables = list
check.Same scope.SomeTables.Item(1), "dbo.orders"
Set scope.SomeTables = Nothing
check.Same scope.SomeTables Is Nothing, True

Set engine = CreateObject("Kelvane.cCompareSchema")
check.Same engine.IsSchemaCaseSensitive, True
engine.IsSchemaCaseSensitive = False
check.Same engine.cCompareDifference.IsSchemaCaseSensitive, False
check.Same engine.cCompareDifference Is engine.cCompareDifference, True
engine.cCompareDifference.Owner = "dbo"
engine.cCompareDifference.Add "", "Length", "Table\Column", "orders\id"
engine.cCompareDifference.Add "", "Length", "Table\Column", "orders\id", , , 4, True
check.Same engine.cCompareDifference.Owner, "dbo"
engine.cCompareDifference.Add "", "", "Table\Column", "orders"   ' a message, which without a desktop waits for nobody

Dim comparison
Set comparison = CreateObject("Kelvane.cTableComparison")
For Each engine In Array(engine, comparison)
  Set engine.CompareOptions = options
  Set engine.AppliesTo = scope
  Set engine.AppPreferences = list
  check.Same engine.CompareOptions Is options And engine.AppliesTo Is scope And engine.AppPreferences Is list, True
  Set engine.AppliesTo = Nothing
  check.Same engine.AppliesTo Is Nothing, True
Next
Set comparison.ConnSource = connection
Set comparison.ConnTarget = list
check.Same comparison.ConnSource Is connection And comparison.ConnTarget Is list, True

Dim collector
Set collector = CreateObject("Kelvane.cCompareDiff")
check.Same collector.IsSchemaCaseSensitive And Not collector.IsDataCaseSensitive, True
collector.IsDataCaseSensitive = True
collector.Entity = "kept"
check.Same collector.IsDataCaseSensitive & collector.Entity, "Truekept"

' Only the library's own objects will do.
On Error Resume Next
Set reader.CompareOptions = scope
check.Same Err.Number <> 0, True
Err.Clear
check.Same CreateObject("Kelvane.cTableComparison").Compare, False
check.Same Err.Number, 91
check.Finished
