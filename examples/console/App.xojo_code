#tag Class
Protected Class App
Inherits ConsoleApplication
	#tag Note, Name = About
		A Python prompt in the program: lines are read here and run there, with all that lines before them have
		defined. Errors are shown as Python shows them, and end nothing.
	#tag EndNote


	#tag Event
		Function Run(args() as String) As Integer
		  If Not Quillix.PythonIsFound Then
		    Print "This program needs Python 2.7."
		    Return 1
		  End If
		  Quillix.Init("console")
		  Quillix.AddSearchPath(SpecialFolder.Resources)

		  Var output As New QuillixConsoleOutput
		  AddHandler output.ConsoleOutput, AddressOf ShowOutput
		  Quillix.SetConsoleOutput(output)

		  Terminal.Publish ' before the import of what imports it
		  Var prompt As PythonModule = Quillix.GetModule("prompt")
		  If prompt Is Nil Then
		    Print "The module cannot be imported: " + Quillix.GetError
		    Return 1
		  End If

		  ' This call lasts until the user ends the session. What was defined in it is there afterwards.
		  Var result As PythonResult = prompt.GetFunction("interact").Invoke(Nil)
		  If result Is Nil Then
		    Print "Error in Python: " + Quillix.GetError
		    Return 1
		  End If
		  Print "defined: " + result.StringValue

		  Quillix.Finalize
		  Return 0
		End Function
	#tag EndEvent


	#tag Method, Flags = &h21
		Private Sub ShowOutput(sender As QuillixConsoleOutput, output As String)
		  StdOut.Write(output)
		End Sub
	#tag EndMethod


	#tag ViewBehavior
	#tag EndViewBehavior
End Class
#tag EndClass
