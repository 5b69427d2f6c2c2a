#tag Class
Protected Class App
Inherits ConsoleApplication
	#tag Note, Name = About
		Objects of the host inside Python's dicts, lists and tuples: they come back as the same objects, and
		live for as long as somebody has them, in the host or in Python.
	#tag EndNote


	#tag Event
		Function Run(args() as String) As Integer
		  If Not Quillix.PythonIsFound Then
		    Print "This program needs Python 2.7."
		    Return 1
		  End If
		  Quillix.Init("objects")
		  Quillix.AddSearchPath(SpecialFolder.Resources)
		  If Quillix.GetModule("shelf") Is Nil Then
		    Print "The module cannot be imported: " + Quillix.GetError
		    Return 1
		  End If

		  Var atlas As New Document("Atlas", 240)
		  Put(atlas)
		  Put(New Document("Breviary", 96)) ' nobody but Python has this one

		  ' The same object, not a copy: what Python holds has changed with it.
		  Var found As Document = AsDocument(CallShelf("get", Titled("Atlas")).ObjectValue)
		  Print "the same object: " + (found Is atlas).ToString
		  atlas.Pages = atlas.Pages + 10
		  Print found.Title + " has " + found.Pages.ToString + " pages"

		  ' Out of a tuple.
		  Var entry As PythonParameters = CallShelf("first", Nil).TupleValue
		  Print entry.IntegerValue(0).ToString + ": " + entry.StringValue(1) + ", " + _
		    (AsDocument(entry.ObjectValue(2)) Is atlas).ToString

		  ' Out of a dict and a list, both in one tuple.
		  Var all As PythonParameters = CallShelf("everything", Nil).TupleValue
		  Var byTitle As PythonDictionary = all.DictionaryValue(0)
		  Print byTitle.Count.ToString + " titles, " + (AsDocument(byTitle.ObjectValue("Atlas")) Is atlas).ToString
		  Var documents As PythonList = all.ListValue(1)
		  For i As Integer = 0 To documents.Count - 1
		    Print "- " + AsDocument(documents.GetItem(i).ObjectValue).Title
		  Next

		  ' Errors: Python's None holds no object, and a KeyError reaches the host as Nil.
		  Print "no such title: " + (AsDocument(CallShelf("get", Titled("Cookbook")).ObjectValue) Is Nil).ToString
		  Call CallShelf("remove", Titled("Cookbook"))

		  ' The host lets go of everything that leads to the Atlas. Python still has it.
		  atlas = Nil
		  found = Nil
		  entry = Nil
		  all = Nil
		  byTitle = Nil
		  documents = Nil
		  Print "the host has let go"
		  Call CallShelf("remove", Titled("Atlas"))
		  Print "Python has let go"

		  ' The Breviary is still on the shelf. It goes when Python stops.
		  Quillix.Finalize
		  Print "Python has stopped"
		  Return 0
		End Function
	#tag EndEvent


	#tag Method, Flags = &h21
		Private Function AsDocument(item As Object) As Document
		  ' What Python gives back is an Object of any class, so it is looked at before the cast.
		  If item Is Nil Or Not (item IsA Document) Then Return Nil
		  Return Document(item)
		End Function
	#tag EndMethod


	#tag Method, Flags = &h21
		Private Function CallShelf(name As String, arguments As PythonParameters) As PythonResult
		  ' What every call of the Python module has in common. Nil when Python raised an error.
		  Var result As PythonResult = Quillix.GetModule("shelf").GetFunction(name).Invoke(arguments)
		  If result Is Nil Then
		    Print "Error in Python, calling " + name
		    Quillix.ClearError ' the next call must not find it pending
		  End If
		  Return result
		End Function
	#tag EndMethod


	#tag Method, Flags = &h21
		Private Sub Put(item As Document)
		  Var arguments As New PythonParameters(2)
		  arguments.StringValue(0) = item.Title
		  arguments.ObjectValue(1) = item
		  Call CallShelf("put", arguments)
		End Sub
	#tag EndMethod


	#tag Method, Flags = &h21
		Private Function Titled(title As String) As PythonParameters
		  Var arguments As New PythonParameters(1)
		  arguments.StringValue(0) = title
		  Return arguments
		End Function
	#tag EndMethod


	#tag ViewBehavior
	#tag EndViewBehavior
End Class
#tag EndClass
