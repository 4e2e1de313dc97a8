' The collections in which the browser answers, and their errors.
Option Explicit

Class Silent
  Public Sub StartProcessing(Status, SupportProgressBar, ObjectType)
  End Sub
  Public Sub Processing(Status, Progress, ObjectType)
  End Sub
  Public Sub EndProcessing(ObjectType)
  End Sub
End Class

Dim reader, columns, pairs, pair, names
Set reader = CreateObject("Kelvane.cASE_Fetch")
Set reader.conn = connection
reader.CompareOptions.Tables = True
reader.CompareOptions.Tables_Columns = True
reader.CompareOptions.Tables_Columns_DataTypes = True
reader.CompareOptions.Tables_Columns_Lengths = True
reader.CompareOptions.Tables_Columns_Precisions = True
reader.CompareOptions.Tables_RowCount = True
reader.CompareOptions.Views = True
reader.CompareOptions.Views_Definition = True
reader.AppliesTo.AllTables = True
reader.AppliesTo.AllViews = True
check.Same reader.Fetch(New Silent), True
check.Same reader.ObjectExists(110, "dbo.orders"), 1
check.Same reader.ObjectExists(110, "DBO.ORDERS"), 0

Set columns = reader.GetSubEntityListByName(110, 10, "dbo.orders")
check.Same columns.Count, 1
check.Same columns(1).Name, "id"
check.Same columns.Item(1) Is columns(1), True
Set pairs = columns(1).Properties
check.Same pairs("data type").Value, "int"   ' keys are found whatever their case

Function inOrder()
  Dim text, one
  For Each one In pairs
    text = text & one.Name & ";"
  Next
  inOrder = text
End Function

names = inOrder()
check.Same names, "Data Type;Default;Scale;Length;Nullable;Ordinal Position;Precision;"
pairs.Sort "Name"
check.Same inOrder(), "Data Type;Default;Length;Nullable;Ordinal Position;Precision;Scale;"
pairs.Sort "Name", False
check.Same inOrder(), "Scale;Precision;Ordinal Position;Nullable;Length;Default;Data Type;"
pairs.Sort "Value", , True
check.Same pairs(pairs.Count).Name & pairs(pairs.Count).Value, "Precision10"

On Error Resume Next
Set pair = pairs("Data Type")                ' a sorted collection has no keys
check.Same Err.Number, 5
check.Same Err.Source, "Kelvane"
check.Same Err.Description, "There is no item with the key ""Data Type"""
Err.Clear
Set pair = pairs(0)
check.Same Err.Number, 5
Err.Clear
pairs.Sort "Size"
check.Same Err.Number, 438
Err.Clear
columns.Sort "Properties"
check.Same Err.Number, 13
Err.Clear
check.Same CreateObject("Kelvane.cKeyPairs").Count, 0
check.Same Err.Number, 0

check.Same reader.GetSubEntityListByIndex(110, 10, 1)(1).Name, "id"
check.Same reader.GetEntityPropertyListByName(110, "dbo.orders")("Row Count").Value, "3"
check.Same reader.GetEntityPropertyListByIndex(180, 1)(1).Value, "12 bytes of SQL code (double-click to view)"
check.Same reader.GetObjectSource("dbo.v_open", "View"), "create view "
check.Same reader.GetList(7, New Silent), False
check.Same reader.GetList(0, New Silent), True     ' the names alone
check.Same reader.GetSubEntityListByIndex(110, 10, 1).Count, 0
check.Same Err.Number, 0
check.Finished
