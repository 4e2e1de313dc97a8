' Shows the columns of the given tables.
' Usage: cscript //nologo browse.vbs CONNECTION-STRING OWNER.TABLE...
Option Explicit

Const ID_TABLE = 110
Const ID_COLUMN = 10

Class Progress
  Public Sub StartProcessing(Status, SupportProgressBar, ObjectType)
    WScript.Echo Status
  End Sub
  Public Sub Processing(Status, Progress, ObjectType)
    WScript.Echo Progress & "% " & Status
  End Sub
  Public Sub EndProcessing(ObjectType)
  End Sub
End Class

' The list of tables: any object with Count and Item, from 1.
Class Named
  Public Property Get Count()
    Count = WScript.Arguments.Count - 1
  End Property
  Public Function Item(index)
    Item = WScript.Arguments(index)
  End Function
End Class

If WScript.Arguments.Count < 2 Then
  WScript.Echo "usage: cscript //nologo browse.vbs CONNECTION-STRING OWNER.TABLE..."
  WScript.Quit 2
End If

Dim connection, reader, at, column, property, text
Set connection = CreateObject("ADODB.Connection")
connection.Open WScript.Arguments(0)

Set reader = CreateObject("Kelvane.cASE_Fetch")
Set reader.conn = connection
Set reader.AppliesTo.SomeTables = New Named
reader.CompareOptions.Tables = True
reader.CompareOptions.Tables_Columns = True
reader.CompareOptions.Tables_Columns_DataTypes = True
reader.CompareOptions.Tables_Columns_Lengths = True
reader.CompareOptions.Tables_Columns_Precisions = True
reader.CompareOptions.Tables_Columns_Scales = True
reader.CompareOptions.Tables_Columns_Nullables = True
reader.CompareOptions.Tables_Columns_Defaults = True
reader.CompareOptions.Tables_Columns_OrdinalPositions = True
If Not reader.Fetch(New Progress) Then
  WScript.Echo reader.LastError
  WScript.Quit 1
End If

For at = 1 To WScript.Arguments.Count - 1
  text = WScript.Arguments(at)
  If reader.ObjectExists(ID_TABLE, text) = 0 Then text = text & ": there is no such table"
  WScript.Echo text
  For Each column In reader.GetSubEntityListByName(ID_TABLE, ID_COLUMN, WScript.Arguments(at))
    text = "  " & column.Name
    For Each property In column.Properties
      If property.Value <> "" Then text = text & ", " & property.Name & ": " & property.Value
    Next
    WScript.Echo text
  Next
Next
connection.Close
